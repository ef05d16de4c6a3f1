#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "platform/manifest_service.h"
#include "src/common/sync.h"
#include "src/manager/batch_results.h"
#include "src/manager/passes.h"
#include "src/trace/trace.h"

namespace ProcMgr {

/// The term batch. Results and graph have a mutex each, which are never held together, and nothing
/// else is taken under either.
///
/// The thread of the change set requests, offers and waits; the threads of reports record, and may
/// run a pass for it. Results that arrive after its end are still recorded, until the next reset.
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

    /// How many are asked to end and have not been heard of, as of the last pass.
    void SetOnTheirWay(size_t count) { onTheirWay_ = count; }

    /// Records a result, the first one, and takes the name out of the graph whatever the result: a
    /// failed termination also frees what it depended on. To be called with nothing locked, for a
    /// pass may be run.
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
    Passes passes{resultMutex, condition, notified};  // locks the mutex by itself
    std::atomic<uint32_t> timeout{0};                 // milliseconds
    Trace::Phase phase{OptionType::TERM};             // synchronises itself

private:
    bool Record(const std::string& name, AppChangeState state) EXCLUDES(resultMutex);
    std::vector<std::string> NamesWithResult() const EXCLUDES(resultMutex);

    std::atomic<size_t> onTheirWay_{0};
};

}  // namespace ProcMgr
