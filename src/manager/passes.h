#pragma once

#include <cstddef>
#include <exception>
#include <functional>

#include "src/common/sync.h"

namespace ProcMgr {

/// Who runs the next pass of a batch. The batch's own thread waits for results, and each one leads
/// to a pass. Where only few applications are on their way, whoever brings a result runs that pass
/// himself: in a chain, to wake the other thread would be a good part of a step. Where many are,
/// the waiting thread is woken, so that results which arrive during its pass share the next one.
class Passes {
public:
    /// Does all that may be done now; whether the batch still waits for anything.
    using Pass = std::function<bool()>;

    /// @param mutex the batch's, which guards all of this
    /// @param notified whether something has happened since the last pass began
    Passes(Mutex& mutex, CondVar& condition, bool& notified)
        : mutex_(mutex), condition_(condition), notified_(notified) {}
    Passes(const Passes&) = delete;
    Passes& operator=(const Passes&) = delete;

    /// For the batch's thread, which holds nothing: runs passes as they get due, or lets others run
    /// them, until nothing is waited for any more. What a pass has thrown elsewhere is thrown here.
    /// @param goesOn whether anything is waited for yet
    /// @return false at the deadline
    bool RunAll(bool goesOn, const Pass& pass, TimePoint deadline) EXCLUDES(mutex_);

    /// For who has set the flag, and holds nothing: runs what is due, or wakes who waits.
    /// @param onTheirWay how many applications the batch has asked for and not heard of yet
    void GoOn(size_t onTheirWay) EXCLUDES(mutex_);

private:
    enum class Outcome { kNext, kEnded, kTimedOut };
    Outcome WaitForNext(const Pass& pass, TimePoint deadline) EXCLUDES(mutex_);
    enum class Turn { kMine, kTaken, kOfTheBatch };
    Turn TakeTurn(size_t onTheirWay) EXCLUDES(mutex_);
    bool Run() EXCLUDES(mutex_);

    Mutex& mutex_;
    CondVar& condition_;
    bool& notified_ GUARDED_BY(mutex_);
    const Pass* offered_ GUARDED_BY(mutex_) = nullptr;  // while the batch's thread waits
    bool isTaken_ GUARDED_BY(mutex_) = false;
    bool isWanted_ GUARDED_BY(mutex_) = false;  // back, for the deadline has passed
    bool hasEnded_ GUARDED_BY(mutex_) = false;
    std::exception_ptr failure_ GUARDED_BY(mutex_);
};

}  // namespace ProcMgr
