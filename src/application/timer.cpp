#include "src/application/timer.h"

namespace DataMaster {

void Timer::Start() {
    start_ = ProcMgr::Now();
    running_ = true;
}

void Timer::Stop() {
    stop_ = ProcMgr::Now();
    running_ = false;
}

int64_t Timer::ElapsedMilliseconds() const {
    const ProcMgr::TimePoint end = running_ ? ProcMgr::Now() : stop_;
    return std::chrono::duration_cast<ProcMgr::Milliseconds>(end - start_).count();
}

}  // namespace DataMaster
