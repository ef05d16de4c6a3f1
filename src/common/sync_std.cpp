// The seam of time and threads over the standard library.

#include <atomic>
#include <thread>

#include "grpowner/schedule_observer.h"
#include "src/common/sync.h"

namespace ProcMgr {

namespace {

std::atomic<ScheduleObserver> theObserver{nullptr};

// What is thrown here would leave a mutex locked for good.
void Tell(ScheduleStep step) noexcept {
    if (const ScheduleObserver observer = theObserver.load(std::memory_order_relaxed)) {
        (void)observer(step);  // the time is for who has asked
    }
}

template <typename Deadline>
bool WaitOn(std::condition_variable& condition, std::mutex& mutex, Deadline deadline) {
    std::unique_lock<std::mutex> lock(mutex, std::adopt_lock);
    const bool inTime = condition.wait_until(lock, deadline) == std::cv_status::no_timeout;
    lock.release();
    Tell(inTime ? ScheduleStep::kWoken : ScheduleStep::kTimedOut);
    return inTime;
}

}  // namespace

void ObserveSchedule(ScheduleObserver observer) {
    theObserver = observer;
}

void Mutex::Lock() {
    native_.lock();
    Tell(ScheduleStep::kLocked);
}

void Mutex::Unlock() {
    native_.unlock();
}

void CondVar::NotifyOne() {
    native_.notify_one();
}

void CondVar::NotifyAll() {
    native_.notify_all();
}

void CondVar::Wait(Mutex& mutex) {
    std::unique_lock<std::mutex> lock(mutex.native_, std::adopt_lock);
    native_.wait(lock);
    lock.release();
    Tell(ScheduleStep::kWoken);
}

bool CondVar::WaitUntil(Mutex& mutex, TimePoint deadline) {
    return WaitOn(native_, mutex.native_, deadline);
}

bool CondVar::WaitUntil(Mutex& mutex, SystemTimePoint deadline) {
    return WaitOn(native_, mutex.native_, deadline);
}

TimePoint Now() {
    const ScheduleObserver observer = theObserver.load(std::memory_order_relaxed);
    return observer == nullptr ? Clock::now() : observer(ScheduleStep::kTimeRead);
}

SystemTimePoint SystemNow() {
    Tell(ScheduleStep::kTimeRead);
    return std::chrono::system_clock::now();
}

void Sleep(Milliseconds duration) {
    std::this_thread::sleep_for(duration);
    Tell(ScheduleStep::kSlept);
}

}  // namespace ProcMgr
