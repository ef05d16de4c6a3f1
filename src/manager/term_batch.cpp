#include "src/manager/term_batch.h"

#include "src/common/logging.h"

namespace ProcMgr {

void TermAppInfo::SetNotified() {
    MutexLock lock(resultMutex);
    notified = true;
}

void TermAppInfo::Report(const std::string& name, AppChangeState state) {
    if (!Record(name, state)) {
        return;
    }
    {
        MutexLock lock(graphMutex);
        termGraph.Pop(name);
    }
    // Set under the result mutex again: a waiting thread tests it there, and would sleep through a
    // pop that it was told of too early.
    {
        MutexLock lock(resultMutex);
        notified = true;
    }
    condition.NotifyOne();
}

bool TermAppInfo::Record(const std::string& name, AppChangeState state) {
    MutexLock lock(resultMutex);
    const auto entry = termAppsResult.find(name);
    if (entry == termAppsResult.end()) {
        GRP_ERROR(
            "ApplicationManager ReportTermAppResult appName=%s is not in "
            "termAppInfo.termAppsResult, wrong report? please check.",
            name.c_str());
        return false;
    }
    if (entry->second != AppChangeState::INIT) {
        GRP_WARNING(
            "ApplicationManager ReportTermAppResult appName=%s is already feedback(now result "
            "state=%s), double report? please check.",
            name.c_str(), GetAppState(static_cast<uint64_t>(entry->second)).c_str());
        return false;
    }
    entry->second = state;
    return true;
}

}  // namespace ProcMgr
