#include "daemons/procmgrd/event_loop.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace ProcMgrDaemon {

namespace {

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

EventLoop::EventLoop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    if (!epoll_) {
        Fail("epoll_create1");
    }
}

void EventLoop::Watch(int fd, uint32_t events, FdHandler handler) {
    const uint64_t id = nextId_++;
    epoll_event event{};
    event.events = events;
    event.data.u64 = id;
    if (epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        Fail("epoll_ctl");
    }
    watched_[id] = std::make_shared<Watched>(Watched{fd, std::move(handler)});
    ids_[fd] = id;
}

void EventLoop::Change(int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = ids_.at(fd);
    if (epoll_ctl(epoll_.Get(), EPOLL_CTL_MOD, fd, &event) != 0) {
        Fail("epoll_ctl");
    }
}

void EventLoop::Forget(int fd) {
    const auto found = ids_.find(fd);
    if (found == ids_.end()) {
        return;
    }
    epoll_event unused{};
    // It can only fail when the descriptor is gone already, and then it is not watched either.
    (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, fd, &unused);
    watched_.erase(found->second);
    ids_.erase(found);
}

EventLoop::TimerId EventLoop::After(std::chrono::milliseconds delay, std::function<void()> action) {
    const TimerId id{Clock::now() + delay, nextId_++};
    timers_.emplace(id, std::move(action));
    return id;
}

int EventLoop::WaitMilliseconds() const {
    if (timers_.empty()) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.first - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, 60'000));
}

void EventLoop::FireTimers() {
    const auto now = Clock::now();
    while (!timers_.empty() && timers_.begin()->first.first <= now) {
        const auto action = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
        action();
    }
}

void EventLoop::Run() {
    std::array<epoll_event, 64> events{};
    while (!stopped_) {
        const int count = epoll_wait(epoll_.Get(), events.data(), static_cast<int>(events.size()),
                                     WaitMilliseconds());
        if (count < 0 && errno != EINTR) {
            Fail("epoll_wait");
        }
        for (int i = 0; i < count; ++i) {
            const uint64_t id = events[i].data.u64;  // a copy: the event is packed
            const auto found = watched_.find(id);
            if (found != watched_.end()) {
                const auto keep = found->second;  // the handler may forget itself
                keep->handler(events[i].events);
            }
        }
        FireTimers();
        if (roundEnd_) {
            roundEnd_();
        }
    }
}

}  // namespace ProcMgrDaemon
