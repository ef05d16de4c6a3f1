#include "src/manager/restart_batch.h"

#include <algorithm>

#include "src/common/logging.h"

namespace ProcMgr {

namespace {

bool IsDone(AppChangeState state) {
    return state == AppChangeState::SUCCESS || state == AppChangeState::RESTART_FAILED ||
           state == AppChangeState::START_FAILED_BY_EIO;
}

}  // namespace

void RestartAppsInfo::Reset() {
    MutexLock lock(mutex);
    restartAppsResult.clear();
    unfinished = 0;
    notified = false;
}

void RestartAppsInfo::ClearNotified() {
    MutexLock lock(mutex);
    notified = false;
}

void RestartAppsInfo::Request(const std::vector<AppInfoForServer>& apps) {
    MutexLock lock(mutex);
    for (const AppInfoForServer& app : apps) {
        restartAppsResult[app.name] = AppChangeState::INIT;
    }
    unfinished =
        static_cast<size_t>(std::count_if(restartAppsResult.begin(), restartAppsResult.end(),
                                          [](const auto& entry) { return !IsDone(entry.second); }));
}

bool RestartAppsInfo::WaitUntilDone(TimePoint deadline) {
    MutexLock lock(mutex);
    while (!notified) {
        if (!condition.WaitUntil(mutex, deadline) && !notified) {
            return false;
        }
    }
    notified = false;
    return true;
}

void RestartAppsInfo::Report(const std::string& name, AppChangeState state) {
    MutexLock lock(mutex);
    const auto entry = restartAppsResult.find(name);
    if (entry == restartAppsResult.end()) {
        GRP_WARNING(
            "ApplicationManager ReportRestartAppResult appName=%s is not in restartAppsResult, "
            "wrong report? please check.",
            name.c_str());
        return;
    }
    if (entry->second != AppChangeState::INIT) {
        GRP_WARNING(
            "ApplicationManager ReportRestartAppResult appName=%s is already feedback(now result "
            "state=%s), double report? please check.",
            name.c_str(), GetAppState(static_cast<uint64_t>(entry->second)).c_str());
        return;
    }
    entry->second = state;
    phase.Result(name, state);
    if (IsDone(state) && --unfinished == 0) {
        notified = true;
        condition.NotifyOne();
    }
}

void RestartAppsInfo::MarkLeft() {
    MutexLock lock(mutex);
    MarkUntouched(restartAppsResult, "Restart", AppChangeState::RESTART_FAILED, phase);
}

bool RestartAppsInfo::AppendTo(std::vector<AppChangeInfo>& lines) const {
    MutexLock lock(mutex);
    return AppendResults(restartAppsResult, "Restart", lines);
}

}  // namespace ProcMgr
