#pragma once

#include <functional>
#include <map>
#include <string>

#include "src/common/sync.h"

namespace Schedules {

/// Does things at their times, one after the other, on a thread of its own. Callable on every
/// thread of the run.
class Agenda {
public:
    explicit Agenda(const std::string& name);
    /// What is left is not done.
    ~Agenda();
    Agenda(const Agenda&) = delete;
    Agenda& operator=(const Agenda&) = delete;

    void After(ProcMgr::Milliseconds delay, std::function<void()> action);
    void Forget();

private:
    void Work();

    ProcMgr::Mutex mutex_;
    ProcMgr::CondVar changed_;
    std::multimap<ProcMgr::TimePoint, std::function<void()>> actions_ GUARDED_BY(mutex_);
    bool isOver_ GUARDED_BY(mutex_) = false;
    ProcMgr::AsyncTask thread_;
};

}  // namespace Schedules
