#include "src/manager/passes.h"

#include <utility>

namespace ProcMgr {

namespace {

constexpr size_t kFew = 4;

}  // namespace

bool Passes::RunAll(bool goesOn, const Pass& pass, TimePoint deadline) {
    while (goesOn) {
        switch (WaitForNext(pass, deadline)) {
            case Outcome::kNext:
                goesOn = pass();
                break;
            case Outcome::kEnded:
                return true;
            case Outcome::kTimedOut:
                return false;
        }
    }
    return true;
}

// A batch may be run twice at once: the second thread offers nothing and waits as if alone.
Passes::Outcome Passes::WaitForNext(const Pass& pass, TimePoint deadline) {
    MutexLock lock(mutex_);
    const bool offers = offered_ == nullptr;
    if (offers) {
        offered_ = &pass;
    }
    bool isInTime = true;
    while (offers ? !hasEnded_ && (isTaken_ || !notified_) : !notified_) {
        if (isInTime) {
            isInTime = condition_.WaitUntil(mutex_, deadline);
        } else if (offers && isTaken_) {
            isWanted_ = true;
            condition_.Wait(mutex_);
        } else {
            break;
        }
    }
    if (offers) {
        offered_ = nullptr;
        isWanted_ = false;
        if (const std::exception_ptr failure = std::exchange(failure_, nullptr)) {
            hasEnded_ = false;
            std::rethrow_exception(failure);
        }
        if (std::exchange(hasEnded_, false)) {
            return Outcome::kEnded;
        }
    }
    return std::exchange(notified_, false) ? Outcome::kNext : Outcome::kTimedOut;
}

void Passes::GoOn(size_t onTheirWay) {
    switch (TakeTurn(onTheirWay)) {
        case Turn::kMine:
            while (Run()) {
            }
            break;
        case Turn::kTaken:
            break;  // who has it looks at the flag before giving it back
        case Turn::kOfTheBatch:
            condition_.NotifyOne();  // who is woken needs the mutex
            break;
    }
}

Passes::Turn Passes::TakeTurn(size_t onTheirWay) {
    MutexLock lock(mutex_);
    if (isTaken_) {
        return Turn::kTaken;
    }
    if (offered_ == nullptr || hasEnded_ || !notified_ || onTheirWay > kFew) {
        return Turn::kOfTheBatch;
    }
    isTaken_ = true;
    return Turn::kMine;
}

/// @return whether something has happened meanwhile, and it is to be run again
bool Passes::Run() {
    const Pass* pass = nullptr;
    {
        MutexLock lock(mutex_);
        notified_ = false;
        pass = offered_;
    }
    bool goesOn = false;
    try {
        goesOn = (*pass)();
    } catch (...) {
        MutexLock lock(mutex_);
        failure_ = std::current_exception();
    }
    MutexLock lock(mutex_);
    if (goesOn && notified_ && !isWanted_) {
        return true;
    }
    isTaken_ = false;
    hasEnded_ = !goesOn;
    if (hasEnded_ || isWanted_) {
        condition_.NotifyAll();
    }
    return false;
}

}  // namespace ProcMgr
