#include "tests/support/manual_time.h"

#include <atomic>
#include <future>
#include <memory>
#include <utility>

namespace {

std::atomic<int64_t> g_elapsed{0};  // milliseconds; far from every clock's own beginning below

template <typename TimePoint>
TimePoint At(int64_t elapsed) {
    return TimePoint(std::chrono::hours(1000) + ProcMgr::Milliseconds(elapsed));
}

}  // namespace

namespace GrpOwnerTest {

void AdvanceTime(ProcMgr::Milliseconds duration) {
    g_elapsed += duration.count();
}

}  // namespace GrpOwnerTest

namespace ProcMgr {

TimePoint Now() {
    return At<TimePoint>(g_elapsed);
}

SystemTimePoint SystemNow() {
    return At<SystemTimePoint>(g_elapsed);
}

void Sleep(Milliseconds duration) {
    GrpOwnerTest::AdvanceTime(duration);
}

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

// Whoever waits for a time lets it pass at once.
bool CondVar::WaitUntil(Mutex& /*mutex*/, TimePoint deadline) {
    Sleep(std::chrono::ceil<Milliseconds>(deadline - Now()));
    return false;
}

bool CondVar::WaitUntil(Mutex& /*mutex*/, SystemTimePoint deadline) {
    Sleep(std::chrono::ceil<Milliseconds>(deadline - SystemNow()));
    return false;
}

AsyncTask RunAsync(std::function<void()> function) {
    // Made first: a call that has begun would be waited for if this failed.
    auto call = std::make_shared<std::future<void>>();
    *call = std::async(std::launch::async, std::move(function));
    return AsyncTask(std::move(call));
}

}  // namespace ProcMgr
