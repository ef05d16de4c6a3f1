#pragma once
// The one thread of the process manager waits here.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <utility>

#include "daemons/common/unique_fd.h"

namespace ProcMgrDaemon {

/// Calls handlers for descriptors that are ready and for timers that are due. Single-threaded. Any
/// handler may watch, forget, set and cancel anything, itself included.
class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using FdHandler = std::function<void(uint32_t events)>;
    using TimerId = std::pair<Clock::time_point, uint64_t>;

    EventLoop();

    /// @param events of epoll, level-triggered
    void Watch(int fd, uint32_t events, FdHandler handler);
    void Change(int fd, uint32_t events);

    /// To be called before the descriptor is closed.
    void Forget(int fd);

    /// Timers of equal delay are called in the order in which they were set.
    TimerId After(std::chrono::milliseconds delay, std::function<void()> action);

    /// Harmless when the timer is over.
    void Cancel(const TimerId& id) { timers_.erase(id); }

    /// Called after each round of events: what the round has put together is sent then.
    void SetRoundEnd(std::function<void()> action) { roundEnd_ = std::move(action); }

    void Run();
    void Stop() { stopped_ = true; }

private:
    struct Watched {
        uint32_t id;
        FdHandler handler;
    };

    static uint64_t Tag(int fd, uint32_t id);
    void Handle(uint64_t tag, uint32_t events);
    int WaitMilliseconds() const;
    void FireTimers();

    Daemons::UniqueFd epoll_;
    uint64_t nextId_ = 1;
    // By descriptor. Events name the id, too: a number that is closed and reused within one round
    // must not get its predecessor's events.
    std::unordered_map<int, Watched> watched_;
    uint32_t lastFdId_ = 0;
    std::map<TimerId, std::function<void()>> timers_;
    std::function<void()> roundEnd_;
    bool stopped_ = false;
};

}  // namespace ProcMgrDaemon
