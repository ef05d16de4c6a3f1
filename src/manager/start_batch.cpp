#include "src/manager/start_batch.h"

#include <utility>

#include "src/common/logging.h"

namespace ProcMgr {

namespace {

std::string NameOf(AppChangeState state) {
    return GetAppState(static_cast<uint64_t>(state));
}

}  // namespace

void StartAppInfo::Reset() {
    MutexLock lock(mutex);
    startAppResultMap.clear();
    untouched_ = 0;
    processing_ = 0;
    onTheirWay.clear();
    notified = false;
}

void StartAppInfo::ClearNotified() {
    MutexLock lock(mutex);
    notified = false;
}

void StartAppInfo::Request(const std::string& name) {
    MutexLock lock(mutex);
    const auto [entry, isNew] = startAppResultMap.emplace(name, AppChangeState::INIT);
    if (isNew) {
        ++untouched_;
    } else {
        Set(entry->second, AppChangeState::INIT);
    }
}

void StartAppInfo::Set(AppChangeState& entry, AppChangeState state) {
    untouched_ -= entry == AppChangeState::INIT ? 1 : 0;
    processing_ -= entry == AppChangeState::PROCESSING ? 1 : 0;
    entry = state;
    untouched_ += entry == AppChangeState::INIT ? 1 : 0;
    processing_ += entry == AppChangeState::PROCESSING ? 1 : 0;
}

void StartAppInfo::SetGraph(DependGraph graph) {
    MutexLock lock(mutex);
    startGraph = std::move(graph);
    onTheirWay.clear();
}

bool StartAppInfo::IsGraphEmpty() const {
    MutexLock lock(mutex);
    return startGraph.IsEmpty();
}

StartAppInfo::Claim StartAppInfo::ClaimForStart(const std::string& name) {
    MutexLock lock(mutex);
    const auto entry = startAppResultMap.find(name);
    if (entry == startAppResultMap.end()) {
        return Claim::kNotRequested;
    }
    if (entry->second != AppChangeState::INIT) {
        return Claim::kHandledBefore;
    }
    Set(entry->second, AppChangeState::PROCESSING);
    return Claim::kClaimed;
}

void StartAppInfo::Pop(const std::string& name) {
    MutexLock lock(mutex);
    PopLocked(name);
}

void StartAppInfo::PopLocked(const std::string& name) {
    startGraph.Pop(name);
    notified = true;
}

void StartAppInfo::NoteMoved(const std::string& name) {
    {
        MutexLock lock(mutex);
        if (onTheirWay.erase(name) == 0) {
            return;
        }
        notified = true;
    }
    condition.NotifyOne();  // who is woken needs the mutex
}

void StartAppInfo::NoteMovedOtherwise(const std::string& name) {
    {
        MutexLock lock(mutex);
        if (startGraph.IsEmpty() || startAppResultMap.count(name) == 0) {
            return;
        }
        notified = true;
    }
    condition.NotifyOne();  // who is woken needs the mutex
}

void StartAppInfo::Report(const std::string& name, AppChangeState state) {
    if (Record(name, state)) {
        condition.NotifyOne();  // who is woken needs the mutex
    }
}

bool StartAppInfo::Record(const std::string& name, AppChangeState state) {
    MutexLock lock(mutex);
    const auto entry = startAppResultMap.find(name);
    if (entry == startAppResultMap.end()) {
        GRP_WARNING(
            "ApplicationManager ReportStartAppResult appName=%s is not in "
            "appStartInfo.startAppResultMap.",
            name.c_str());
        return false;
    }
    if (entry->second != AppChangeState::INIT && entry->second != AppChangeState::PROCESSING) {
        GRP_WARNING(
            "ApplicationManager ReportStartAppResult appName=%s is already feedback(now result "
            "state=%s)",
            name.c_str(), NameOf(entry->second).c_str());
    }
    Set(entry->second, state);
    phase.Result(name, state);
    if (state == AppChangeState::SUCCESS) {
        startGraph.Pop(name);
    }
    // Once all that was asked for has been released there is nothing left that a result could free;
    // then only the last one counts.
    const bool isAwaited = untouched_ > 0 || processing_ == 0;
    notified = notified || isAwaited;
    return isAwaited;
}

void StartAppInfo::MarkLeft() {
    MutexLock lock(mutex);
    MarkUntouched(startAppResultMap, "Start", AppChangeState::START_FAILED, phase);
    untouched_ = 0;
}

bool StartAppInfo::HasUntouched() const {
    MutexLock lock(mutex);
    return untouched_ > 0;
}

bool StartAppInfo::AppendTo(std::vector<AppChangeInfo>& lines) const {
    MutexLock lock(mutex);
    return AppendResults(startAppResultMap, "Start", lines);
}

}  // namespace ProcMgr
