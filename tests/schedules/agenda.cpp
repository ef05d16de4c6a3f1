#include "tests/schedules/agenda.h"

#include <utility>

#include "src/common/sync_seeded.h"

namespace Schedules {

using ProcMgr::MutexLock;

Agenda::Agenda(const std::string& name)
    : thread_(ProcMgr::Seeded::Begin(name, [this] { Work(); })) {}

Agenda::~Agenda() {
    {
        MutexLock lock(mutex_);
        isOver_ = true;
        changed_.NotifyAll();
    }
    thread_ = {};
}

void Agenda::After(ProcMgr::Milliseconds delay, std::function<void()> action) {
    MutexLock lock(mutex_);
    actions_.emplace(ProcMgr::Now() + delay, std::move(action));
    changed_.NotifyAll();
}

void Agenda::Forget() {
    MutexLock lock(mutex_);
    actions_.clear();
}

void Agenda::Work() {
    for (;;) {
        std::function<void()> action;
        {
            MutexLock lock(mutex_);
            while (!isOver_ && (actions_.empty() || actions_.begin()->first > ProcMgr::Now())) {
                (void)changed_.WaitUntil(
                    mutex_, actions_.empty() ? ProcMgr::TimePoint::max() : actions_.begin()->first);
            }
            if (isOver_) {
                return;
            }
            action = std::move(actions_.begin()->second);
            actions_.erase(actions_.begin());
        }
        action();
    }
}

}  // namespace Schedules
