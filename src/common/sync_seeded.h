#pragma once
// The seam of time and threads under a scheduler: one thread runs at a time, a seed chooses which,
// and time passes only while all wait. The same seed gives the same run again. For programs that
// link grpowner_sync_seeded in the place of the standard library's implementation.
//
// Each lock, unlock, wait, notification, sleep, and begin and end of a thread is a point where
// another thread may go on. What lies between two points is not interrupted, so locks of others
// that are held across none of them never have to wait.
//
// Instead of the seed a guide may choose, who has seen all of it happen before.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "src/common/sync.h"

namespace ProcMgr::Seeded {

/// What ends a thread's wait for a mutex, a condition, an end of sleep, or a look at the clock.
enum class Step : uint32_t { kLocked = 0, kWoken = 1, kTimedOut = 2, kSlept = 3, kTimeRead = 4 };

/// Decides in the place of the seed: what one run has done, another does again. It knows threads by
/// their names. Called by the thread that runs.
class Guide {
public:
    virtual ~Guide() = default;

    /// Who is to go on; "main" when that is open.
    virtual std::string Next() = 0;

    /// What of the two is the thread's next step, if one of them is. What it does not foresee goes
    /// by the mutexes, notifications and deadlines themselves.
    virtual std::optional<Step> Foresees(const std::string& thread, Step step, Step orElse) = 0;

    /// The thread, whose turn it is, makes the step that was foreseen.
    virtual void Make(const std::string& thread) = 0;

    /// What time it is, since the beginning of the run.
    virtual std::chrono::nanoseconds Time() = 0;

    /// The one that is to go on cannot: others go first.
    virtual void PassOver() = 0;
};

struct Options {
    uint64_t seed = 1;
    unsigned wakeUps = 0;      // of a thousand points, those where a wait ends without a signal
    uint64_t points = 500000;  // a run with more of them counts as one that never ends
    Guide* guide = nullptr;    // must outlive the run
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

/// Under a guide: the others go on until it is the calling thread's turn.
void AwaitTurn();

/// The name of the calling thread; "main" for the one that made the run, empty outside a run.
std::string ThreadName();

}  // namespace ProcMgr::Seeded
