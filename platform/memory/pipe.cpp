#include "platform/pipe_service.h"

#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>

#include "platform/memory/memory_platform.h"
#include "platform/memory/recorder.h"

namespace GrpOwnerMemory {

namespace {

struct Pipes {
    std::mutex mutex;
    Script<PipeCall> script;
    std::map<PipeCall, unsigned> calls;
    std::vector<OpenCall> opens;
    std::vector<SentRecord> sent;
    std::map<int, EzcomRequestHandler> handlers;  // of the open pipes
    int lastHandle = 0;
    bool isCut = false;
    std::function<void(const SentRecord&)> hook;
    std::function<std::optional<std::string>(const SentRecord&)> answer;

    // The handling thread lives while something is posted: it ends when it finds nothing more.
    std::deque<std::string> posted;
    bool handling = false;
    std::condition_variable idle;
};

std::string_view BytesOf(const EzcomRequest* request) {
    return {static_cast<const char*>(request->data), request->size};
}

Pipes& State() {
    return Immortal<Pipes>();
}

using Lock = std::unique_lock<std::mutex>;

/// Counts a call. The result that ends it at once, if there is one.
std::optional<int> Begin(PipeCall call, int fd) {
    Pipes& pipes = State();
    const Lock lock(pipes.mutex);
    ++pipes.calls[call];
    if (pipes.isCut && call != PipeCall::kOpen && call != PipeCall::kClose) {
        return -EPIPE;
    }
    if (const std::optional<int> scripted = pipes.script.Next(call)) {
        return scripted;
    }
    if (call != PipeCall::kOpen && pipes.handlers.count(fd) == 0) {
        return -EBADF;
    }
    return std::nullopt;
}

SentRecord Record(PipeCall call, int fd, const EzcomRequest& request, int timeoutMs) {
    SentRecord record;
    record.call = call;
    record.fd = fd;
    record.timeoutMs = timeoutMs;
    record.bytes.assign(static_cast<const char*>(request.data), request.size);
    Pipes& pipes = State();
    const Lock lock(pipes.mutex);
    pipes.sent.push_back(record);
    return record;
}

int Ask(PipeCall call, int fd, EzcomRequest* request, EzcomResponse* response, int timeoutMs) {
    static thread_local std::string data;  // until this thread's next call, as the contract says
    if (const auto decided = AskCallHook("EzcomRPCSync", BytesOf(request))) {
        return *decided;
    }
    const std::optional<int> result = Begin(call, fd);
    if (result) {
        TellWaiters();
        return *result;
    }
    const SentRecord record = Record(call, fd, *request, timeoutMs);
    TellWaiters();
    std::function<std::optional<std::string>(const SentRecord&)> answer;
    {
        const Lock lock(State().mutex);
        answer = State().answer;
    }
    const std::optional<std::string> text = answer ? answer(record) : "0";
    data = text.value_or("");
    *response = {text ? data.data() : nullptr, static_cast<uint32_t>(data.size())};
    return 0;
}

void HandlePosted() {
    Pipes& pipes = State();
    Lock lock(pipes.mutex);
    while (!pipes.posted.empty()) {
        const std::string bytes = std::move(pipes.posted.front());
        pipes.posted.pop_front();
        lock.unlock();
        (void)Deliver(bytes);  // without an open pipe there is nobody to hear it
        lock.lock();
    }
    pipes.handling = false;
    pipes.idle.notify_all();
}

}  // namespace

void ScriptPipe(PipeCall call, int result, unsigned times) {
    const Lock lock(State().mutex);
    State().script.Add(call, result, times);
}

void ForgetPipeScripts() {
    const Lock lock(State().mutex);
    State().script = {};
}

void CutPipe(bool isCut) {
    const Lock lock(State().mutex);
    State().isCut = isCut;
}

unsigned PipeCalls(PipeCall call) {
    const Lock lock(State().mutex);
    return State().calls[call];
}

std::vector<OpenCall> OpenCalls() {
    const Lock lock(State().mutex);
    return State().opens;
}

std::vector<SentRecord> SentRecords() {
    const Lock lock(State().mutex);
    return State().sent;
}

void ForgetSentRecords() {
    const Lock lock(State().mutex);
    State().sent.clear();
}

void SetSendHook(std::function<void(const SentRecord&)> hook) {
    const Lock lock(State().mutex);
    State().hook = std::move(hook);
}

void SetAnswer(std::function<std::optional<std::string>(const SentRecord&)> answer) {
    const Lock lock(State().mutex);
    State().answer = std::move(answer);
}

int OpenPipe() {
    const Lock lock(State().mutex);
    const auto& handlers = State().handlers;
    return handlers.empty() ? 0 : handlers.rbegin()->first;
}

bool DeliverRaw(const EzcomRequest* request) {
    int fd = 0;
    EzcomRequestHandler handler = nullptr;
    {
        const Lock lock(State().mutex);
        if (State().handlers.empty()) {
            return false;
        }
        std::tie(fd, handler) = *State().handlers.rbegin();
    }
    handler(fd, request);
    TellWaiters();
    return true;
}

bool Deliver(const std::string& bytes) {
    const EzcomRequest request{bytes.data(), static_cast<uint32_t>(bytes.size())};
    return DeliverRaw(&request);
}

void Post(const std::string& bytes) {
    Pipes& pipes = State();
    const Lock lock(pipes.mutex);
    pipes.posted.push_back(bytes);
    if (!pipes.handling) {
        std::thread(HandlePosted).detach();
        pipes.handling = true;
    }
}

void ResetPipe() {
    Pipes& pipes = State();
    Lock lock(pipes.mutex);
    pipes.posted.clear();
    pipes.handlers.clear();
    pipes.idle.wait(lock, [&] { return !pipes.handling; });
    pipes.script = {};
    pipes.isCut = false;
    pipes.calls.clear();
    pipes.opens.clear();
    pipes.sent.clear();
    pipes.hook = nullptr;
    pipes.answer = nullptr;
}

}  // namespace GrpOwnerMemory

using namespace GrpOwnerMemory;

int EzcomOpen(const EzcomOpenParams* params) {
    if (const auto decided = AskCallHook("EzcomOpen")) {
        return *decided;
    }
    const std::optional<int> result = Begin(PipeCall::kOpen, 0);
    OpenCall call;
    call.ownName = params->ownName;
    call.targetName = params->targetName;
    call.gid = params->gid;
    call.timeoutMs = params->timeoutMs;
    call.flags = params->flags;
    call.version = params->version;
    call.priority = params->priority;
    call.affinity = params->affinity;
    const Lock lock(State().mutex);
    State().opens.push_back(call);
    if (result) {
        return *result;
    }
    const int handle = ++State().lastHandle;
    State().handlers[handle] = params->handler;
    return handle;
}

int EzcomSendRequest(int fd, const EzcomRequest* request) {
    if (const auto decided = AskCallHook("EzcomSendRequest", BytesOf(request))) {
        return *decided;
    }
    const std::optional<int> result = Begin(PipeCall::kSend, fd);
    if (result) {
        TellWaiters();
        return *result;
    }
    const SentRecord record = Record(PipeCall::kSend, fd, *request, 0);
    TellWaiters();
    std::function<void(const SentRecord&)> hook;
    {
        const Lock lock(State().mutex);
        hook = State().hook;
    }
    if (hook) {
        hook(record);
    }
    return 0;
}

int EzcomSendResponse(int fd, const EzcomResponse* /*response*/) {
    return Begin(PipeCall::kRespond, fd).value_or(0);
}

int EzcomRPCSync(int fd, EzcomRequest* request, EzcomResponse* response) {
    return Ask(PipeCall::kCall, fd, request, response, 0);
}

int EzcomTimedRPCSync(int fd, EzcomRequest* request, EzcomResponse* response, int timeoutMs) {
    return Ask(PipeCall::kTimedCall, fd, request, response, timeoutMs);
}

int EzcomClosePipe(int fd) {
    if (const auto decided = AskCallHook("EzcomClosePipe")) {
        return *decided;
    }
    if (const std::optional<int> result = Begin(PipeCall::kClose, fd)) {
        return *result;
    }
    const Lock lock(State().mutex);
    State().handlers.erase(fd);
    return 0;
}
