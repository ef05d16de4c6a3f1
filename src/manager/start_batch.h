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
#include "src/trace/trace.h"

namespace ProcMgr {

/// One start batch: what was asked for, what has become of it and what waits for what.
///
/// The thread that starts fills, polls and waits; the threads of reports record. The mutex guards
/// everything but the time-out. The batch outlives its start: results that arrive late are still
/// recorded, until the next reset.
struct StartAppInfo {
    /// Empties the results and forgets what was noted.
    void Reset() EXCLUDES(mutex);
    void ClearNotified() EXCLUDES(mutex);

    void Request(const std::string& name) EXCLUDES(mutex);
    void SetGraph(DependGraph graph) EXCLUDES(mutex);
    bool IsGraphEmpty() const EXCLUDES(mutex);

    /// Whether the name is asked for; if it is still untouched it counts as sent from now on.
    enum class Claim { kClaimed, kHandledBefore, kNotRequested };
    Claim ClaimForStart(const std::string& name) EXCLUDES(mutex);

    /// Takes a running application out of the graph. Nobody reports it, so the batch is woken here.
    void Pop(const std::string& name) EXCLUDES(mutex);
    void PopLocked(const std::string& name) REQUIRES(mutex);

    /// An application that the batch does not start but waits for has moved, or ended.
    void NoteMoved(const std::string& name) EXCLUDES(mutex);
    /// One has moved by what is no result of a start: it may run now, although it was asked for
    /// here and nobody will report it.
    void NoteMovedOtherwise(const std::string& name) EXCLUDES(mutex);

    /// Records a result; the later one wins. Who starts is woken when there is something to do:
    /// with a thousand results on their way, a look at all that is free at each of them is most of
    /// a start.
    void Report(const std::string& name, AppChangeState state) EXCLUDES(mutex);

    /// Turns what is still untouched into START_FAILED.
    void MarkLeft() EXCLUDES(mutex);
    bool HasUntouched() const EXCLUDES(mutex);
    /// Appends the results; whether all are successes.
    bool AppendTo(std::vector<AppChangeInfo>& lines) const EXCLUDES(mutex);

    mutable Mutex mutex;
    BatchResults startAppResultMap GUARDED_BY(mutex);
    DependGraph startGraph GUARDED_BY(mutex);
    CondVar condition;
    std::atomic<uint32_t> timeout{0};  // milliseconds
    bool notified GUARDED_BY(mutex) = false;
    std::set<std::string> onTheirWay GUARDED_BY(mutex);  // not asked for, but coming up
    Trace::Phase phase{OptionType::START};               // synchronises itself

private:
    void Set(AppChangeState& entry, AppChangeState state) REQUIRES(mutex);
    bool Record(const std::string& name, AppChangeState state) EXCLUDES(mutex);

    size_t untouched_ GUARDED_BY(mutex) = 0;   // INIT in the results
    size_t processing_ GUARDED_BY(mutex) = 0;  // PROCESSING there
};

}  // namespace ProcMgr
