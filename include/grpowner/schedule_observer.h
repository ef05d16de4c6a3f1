#pragma once
// For recorders: in which order the library's threads go on. Together with what comes in from
// outside that is all it takes to repeat a run.

#include <chrono>
#include <cstdint>

#include "grpowner/export.h"

namespace ProcMgr {

/// What a thread has just done.
enum class ScheduleStep : uint32_t {
    kLocked = 0,    // taken a mutex
    kWoken = 1,     // come back from a wait, with its mutex
    kTimedOut = 2,  // the same, because the wait's time is over
    kSlept = 3,     // come back from a sleep
    kTimeRead = 4,  // looked at the clock
};

/// Called on the thread of the step while it holds what it has taken, so that the calls come in the
/// order of the steps. It must be quick, and must not call the library.
/// @return what time it is: the clock shows it to who has looked
using ScheduleObserver = std::chrono::steady_clock::time_point (*)(ScheduleStep step);

/// Observes from now on; null: nobody does, and nothing is paid for it.
GRPOWNER_EXPORT void ObserveSchedule(ScheduleObserver observer);

}  // namespace ProcMgr
