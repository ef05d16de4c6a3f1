#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "src/common/sync.h"
#include "src/manager/batch_results.h"
#include "src/trace/trace.h"

namespace ProcMgr {

/// The restart batch. It wakes once, when all its applications are done. Nothing else is taken
/// under its mutex.
struct RestartAppsInfo {
    /// Empties the results.
    void Reset() EXCLUDES(mutex);
    void ClearNotified() EXCLUDES(mutex);

    /// All at once: a batch that grew while results arrive could count as done too early.
    void Request(const std::vector<AppInfoForServer>& apps) EXCLUDES(mutex);

    /// Waits until all have a final result; false at the deadline.
    bool WaitUntilDone(TimePoint deadline) EXCLUDES(mutex);

    /// Records a result, the first one.
    void Report(const std::string& name, AppChangeState state) EXCLUDES(mutex);

    /// Turns what is still untouched into RESTART_FAILED.
    void MarkLeft() EXCLUDES(mutex);
    /// Appends the results; whether all are successes.
    bool AppendTo(std::vector<AppChangeInfo>& lines) const EXCLUDES(mutex);

    mutable Mutex mutex;
    BatchResults restartAppsResult GUARDED_BY(mutex);
    CondVar condition;
    bool notified GUARDED_BY(mutex) = false;
    size_t unfinished GUARDED_BY(mutex) = 0;  // results that do not count as done yet
    std::atomic<uint32_t> timeout{0};         // milliseconds
    Trace::Phase phase{OptionType::RESTART};  // synchronises itself
};

}  // namespace ProcMgr
