#pragma once
// The seam of time and threads under a scheduler: one thread runs at a time, a seed chooses which,
// and time passes only while all wait. The same seed gives the same run again. For programs that
// link grpowner_sync_seeded in the place of the standard library's implementation.
//
// Each lock, unlock, wait, notification, sleep, and begin and end of a thread is a point where
// another thread may go on. What lies between two points is not interrupted, so locks of others
// that are held across none of them never have to wait.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "src/common/sync.h"

namespace ProcMgr::Seeded {

struct Options {
    uint64_t seed = 1;
    unsigned wakeUps = 0;      // of a thousand points, those where a wait ends without a signal
    uint64_t points = 500000;  // a run with more of them counts as one that never ends
};

/// A run. Its threads are the one that made it and those that are begun in it; any other one that
/// comes to a point meanwhile ends the process. So does a deadlock, with a list of who waits where,
/// a mutex that is misused, and a run that goes on for too long. One at a time; outside a run,
/// locks are real ones, waits are errors and a sleep only moves the clock on.
class Run {
public:
    explicit Run(const Options& options);
    /// All threads that were begun must have ended.
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
};

/// A thread of a run. The last reference waits for its end when it is dropped.
using RunningThread = std::shared_ptr<void>;
[[nodiscard]] RunningThread Begin(std::string name, std::function<void()> function);

/// The name of the calling thread; "main" for the one that made the run, empty outside a run.
std::string ThreadName();

}  // namespace ProcMgr::Seeded
