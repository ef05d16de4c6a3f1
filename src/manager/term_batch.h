#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "platform/manifest_service.h"
#include "src/common/sync.h"
#include "src/manager/batch_results.h"
#include "src/trace/trace.h"

namespace ProcMgr {

/// The term batch. Results and graph have a mutex each, which are never held together, and nothing
/// else is taken under either.
///
/// The thread of the change set requests, offers and waits; the threads of reports record. Results
/// that arrive after its end are still recorded, until the next reset.
struct TermAppInfo {
    /// Empties the results; the first pass does not wait.
    void Reset() EXCLUDES(resultMutex);
    /// No batch is waiting: its first pass does not wait.
    void SetNotified() EXCLUDES(resultMutex);

    void Request(const std::vector<AppInfoForServer>& apps) EXCLUDES(resultMutex);
    void SetGraph(DependGraph graph) EXCLUDES(resultMutex, graphMutex);
    bool IsGraphEmpty() const EXCLUDES(graphMutex);
    /// The names that nothing in the graph depends on; those that still terminate among them.
    std::set<std::string> FreeNames() const EXCLUDES(graphMutex);

    /// Waits for the next result that has been taken out of the graph; false at the deadline.
    bool WaitForResult(TimePoint deadline) EXCLUDES(resultMutex);

    /// Records a result, the first one, and takes the name out of the graph whatever the result: a
    /// failed termination also frees what it depended on.
    void Report(const std::string& name, AppChangeState state) EXCLUDES(resultMutex, graphMutex);

    /// Turns what is still untouched into TERM_FAILED.
    void MarkLeft() EXCLUDES(resultMutex);
    /// Appends the results; whether all are successes.
    bool AppendTo(std::vector<AppChangeInfo>& lines) const EXCLUDES(resultMutex);

    mutable Mutex resultMutex;
    BatchResults termAppsResult GUARDED_BY(resultMutex);
    mutable Mutex graphMutex;
    DependGraph termGraph GUARDED_BY(graphMutex);
    CondVar condition;
    bool notified GUARDED_BY(resultMutex) = true;
    std::atomic<uint32_t> timeout{0};      // milliseconds
    Trace::Phase phase{OptionType::TERM};  // synchronises itself

private:
    bool Record(const std::string& name, AppChangeState state) EXCLUDES(resultMutex);
    std::vector<std::string> NamesWithResult() const EXCLUDES(resultMutex);
};

}  // namespace ProcMgr
