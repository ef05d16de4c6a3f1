#include "src/manager/term_batch.h"

#include <utility>

#include "src/common/logging.h"

namespace ProcMgr {

void TermAppInfo::Reset() {
    MutexLock lock(resultMutex);
    termAppsResult.clear();
    notified = true;
}

void TermAppInfo::SetNotified() {
    MutexLock lock(resultMutex);
    notified = true;
}

void TermAppInfo::Request(const std::vector<AppInfoForServer>& apps) {
    MutexLock lock(resultMutex);
    for (const AppInfoForServer& app : apps) {
        termAppsResult[app.name] = AppChangeState::INIT;
    }
}

// A late result of an earlier change set may have been recorded since the request, and has then
// been popped from the graph before this one: it would be offered for ever.
void TermAppInfo::SetGraph(DependGraph graph) {
    {
        MutexLock lock(graphMutex);
        termGraph = std::move(graph);
    }
    const std::vector<std::string> done = NamesWithResult();
    MutexLock lock(graphMutex);
    for (const std::string& name : done) {
        termGraph.Pop(name);
    }
}

std::vector<std::string> TermAppInfo::NamesWithResult() const {
    MutexLock lock(resultMutex);
    std::vector<std::string> names;
    for (const auto& [name, state] : termAppsResult) {
        if (state != AppChangeState::INIT) {
            names.push_back(name);
        }
    }
    return names;
}

bool TermAppInfo::IsGraphEmpty() const {
    MutexLock lock(graphMutex);
    return termGraph.IsEmpty();
}

std::set<std::string> TermAppInfo::FreeNames() const {
    MutexLock lock(graphMutex);
    return termGraph.GetNoDependVertices();
}

bool TermAppInfo::WaitForResult(TimePoint deadline) {
    MutexLock lock(resultMutex);
    while (!notified) {
        if (!condition.WaitUntil(resultMutex, deadline) && !notified) {
            return false;
        }
    }
    notified = false;
    return true;
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
    phase.Result(name, state);
    return true;
}

void TermAppInfo::MarkLeft() {
    MutexLock lock(resultMutex);
    MarkUntouched(termAppsResult, "Term", AppChangeState::TERM_FAILED, phase);
}

bool TermAppInfo::AppendTo(std::vector<AppChangeInfo>& lines) const {
    MutexLock lock(resultMutex);
    return AppendResults(termAppsResult, "Term", lines);
}

}  // namespace ProcMgr
