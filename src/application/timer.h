#pragma once

#include <cstdint>

#include "src/common/sync.h"

namespace DataMaster {

/// A stopwatch on the monotonic clock, which may be started again and again. Whoever owns it guards
/// it.
class Timer {
public:
    void Start();
    void Stop();

    /// Whole milliseconds, truncated toward zero: from the start until now, or until the stop.
    int64_t ElapsedMilliseconds() const;

    bool IsRunning() const { return running_; }

private:
    ProcMgr::TimePoint start_{};
    ProcMgr::TimePoint stop_{};
    bool running_ = false;
};

}  // namespace DataMaster
