#include "platform/heartbeat_service.h"

#include <condition_variable>
#include <map>
#include <mutex>

#include "platform/memory/memory_platform.h"
#include "platform/memory/recorder.h"

namespace GrpOwnerMemory {

namespace {

struct HeartBeats {
    std::mutex mutex;
    Script<HeartBeatCall> script;
    std::vector<HeartBeatRecord> records;
    std::map<std::string, HeartBeatCheckCallback> checked;
    unsigned callbacks = 0;  // that run now
    std::condition_variable callbackEnded;
};

using Lock = std::unique_lock<std::mutex>;

// A callback may itself end a check: it must not wait for its own end then.
thread_local unsigned callbacksOfThisThread = 0;

HeartBeats& State() {
    return Immortal<HeartBeats>();
}

/// Records a call and answers its result.
int Begin(const HeartBeatRecord& record) {
    HeartBeats& beats = State();
    const Lock lock(beats.mutex);
    beats.records.push_back(record);
    return beats.script.Next(record.call).value_or(0);
}

// No callback begins after an unregistration returned, so one that was about to begin is waited
// for.
void WaitForCallbacks(Lock& lock) {
    State().callbackEnded.wait(lock, [] { return State().callbacks == callbacksOfThisThread; });
}

}  // namespace

std::vector<HeartBeatRecord> HeartBeatRecords() {
    const Lock lock(State().mutex);
    return State().records;
}

void ScriptHeartBeat(HeartBeatCall call, int result, unsigned times) {
    const Lock lock(State().mutex);
    State().script.Add(call, result, times);
}

bool IsChecked(const std::string& name) {
    const Lock lock(State().mutex);
    return State().checked.count(name) != 0;
}

HeartBeatCheckCallback CheckCallback(const std::string& name) {
    const Lock lock(State().mutex);
    const auto found = State().checked.find(name);
    return found == State().checked.end() ? nullptr : found->second;
}

std::optional<int> NotifyHeartBeat(const std::string& name, unsigned pid, int status) {
    HeartBeats& beats = State();
    Lock lock(beats.mutex);
    const auto found = beats.checked.find(name);
    if (found == beats.checked.end()) {
        return std::nullopt;
    }
    const HeartBeatCheckCallback callback = found->second;
    ++beats.callbacks;
    lock.unlock();
    const std::vector<char> unterminated(name.begin(), name.end());
    ++callbacksOfThisThread;
    const int result = callback(unterminated.data(), unterminated.size(), pid, status);
    --callbacksOfThisThread;
    lock.lock();
    --beats.callbacks;
    beats.callbackEnded.notify_all();
    return result;
}

void ResetHeartBeat() {
    HeartBeats& beats = State();
    const Lock lock(beats.mutex);
    beats.script = {};
    beats.records.clear();
    beats.checked.clear();
}

}  // namespace GrpOwnerMemory

using namespace GrpOwnerMemory;

int RegisterSendHeartBeat(const char* ownName, size_t ownNameLength, const char* targetName,
                          size_t targetNameLength, const HeartBeatSendParams* params) {
    if (const auto decided = AskCallHook("RegisterSendHeartBeat")) {
        return *decided;
    }
    HeartBeatRecord record;
    record.call = HeartBeatCall::kSend;
    record.name.assign(ownName, ownNameLength);
    record.target.assign(targetName, targetNameLength);
    record.missedBeats = params->missedBeats;
    record.periodSeconds = params->periodSeconds;
    const int result = Begin(record);
    TellWaiters();
    return result;
}

int UnregisterSendHeartBeat(void) {
    if (const auto decided = AskCallHook("UnregisterSendHeartBeat")) {
        return *decided;
    }
    HeartBeatRecord record;
    record.call = HeartBeatCall::kStopSend;
    const int result = Begin(record);
    TellWaiters();
    return result;
}

int RegisterCheckHeartBeat(const char* name, size_t nameLength, uint32_t gid,
                           HeartBeatCheckCallback callback) {
    if (const auto decided = AskCallHook("RegisterCheckHeartBeat", {name, nameLength})) {
        return *decided;
    }
    HeartBeatRecord record;
    record.call = HeartBeatCall::kCheck;
    record.name.assign(name, nameLength);
    record.gid = gid;
    const int result = Begin(record);
    if (result == 0) {
        const Lock lock(State().mutex);
        State().checked[record.name] = callback;
    }
    TellWaiters();
    return result;
}

int UnregisterCheckHeartBeat(const char* name, size_t nameLength) {
    if (const auto decided = AskCallHook("UnregisterCheckHeartBeat", {name, nameLength})) {
        return *decided;
    }
    HeartBeatRecord record;
    record.call = HeartBeatCall::kStopCheck;
    record.name.assign(name, nameLength);
    const int result = Begin(record);
    {
        Lock lock(State().mutex);
        State().checked.erase(record.name);
        WaitForCallbacks(lock);
    }
    TellWaiters();
    return result;
}

int DisableAllCheckHeartBeat(void) {
    if (const auto decided = AskCallHook("DisableAllCheckHeartBeat")) {
        return *decided;
    }
    HeartBeatRecord record;
    record.call = HeartBeatCall::kStopAllChecks;
    const int result = Begin(record);
    {
        Lock lock(State().mutex);
        State().checked.clear();
        WaitForCallbacks(lock);
    }
    TellWaiters();
    return result;
}
