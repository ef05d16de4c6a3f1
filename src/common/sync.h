#pragma once
// The seam of time and threads. The core locks, waits, sleeps and reads the clock through these and
// nothing else, so that an implementation chosen at link time decides what time it is and who runs:
// the standard library's in a product, a seeded scheduler's in a search for orders that nobody
// thought of.
//
// Lock order, left before right, never two of one column:
//   state query -> query response -> {base batch | change batch} -> manager -> application ->
//   leaves
// A leaf is held for a few lines and nothing else is taken under it.

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "src/common/thread_annotations.h"

namespace ProcMgr {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Milliseconds = std::chrono::milliseconds;
using SystemTimePoint = std::chrono::system_clock::time_point;

class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() ACQUIRE();
    void Unlock() RELEASE();

private:
    friend class CondVar;
    std::mutex native_;
};

/// Holds a mutex for a scope.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
    ~MutexLock() RELEASE() { mutex_.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

/// A condition variable. Waits may end without a signal: loop over the predicate, against one
/// deadline.
class CondVar {
public:
    void NotifyOne();
    void NotifyAll();
    void Wait(Mutex& mutex) REQUIRES(mutex);

    /// @return false when the deadline has passed
    bool WaitUntil(Mutex& mutex, TimePoint deadline) REQUIRES(mutex);

    /// The same on the system's clock, which may jump: for the state query's single wait alone.
    bool WaitUntil(Mutex& mutex, SystemTimePoint deadline) REQUIRES(mutex);

private:
    std::condition_variable native_;
};

TimePoint Now();
SystemTimePoint SystemNow();

/// Sleeps for the whole of the time, whatever signals arrive.
void Sleep(Milliseconds duration);

}  // namespace ProcMgr
