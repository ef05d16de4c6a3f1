// The seam of time and threads over the standard library.

#include <thread>

#include "src/common/sync.h"

namespace ProcMgr {

void Mutex::Lock() {
    native_.lock();
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
}

bool CondVar::WaitUntil(Mutex& mutex, TimePoint deadline) {
    std::unique_lock<std::mutex> lock(mutex.native_, std::adopt_lock);
    const bool inTime = native_.wait_until(lock, deadline) == std::cv_status::no_timeout;
    lock.release();
    return inTime;
}

bool CondVar::WaitUntil(Mutex& mutex, SystemTimePoint deadline) {
    std::unique_lock<std::mutex> lock(mutex.native_, std::adopt_lock);
    const bool inTime = native_.wait_until(lock, deadline) == std::cv_status::no_timeout;
    lock.release();
    return inTime;
}

TimePoint Now() {
    return Clock::now();
}

SystemTimePoint SystemNow() {
    return std::chrono::system_clock::now();
}

void Sleep(Milliseconds duration) {
    std::this_thread::sleep_for(duration);
}

}  // namespace ProcMgr
