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

uint64_t EventLoop::Tag(int fd, uint32_t id) {
    return uint64_t{id} << 32U | static_cast<uint32_t>(fd);
}

void EventLoop::Watch(int fd, uint32_t events, FdHandler handler) {
    const uint32_t id = ++lastFdId_;
    epoll_event event{};
    event.events = events;
    event.data.u64 = Tag(fd, id);
    if (epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        Fail("epoll_ctl");
    }
    watched_[fd] = {id, std::move(handler)};
}

void EventLoop::Change(int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = Tag(fd, watched_.at(fd).id);
    if (epoll_ctl(epoll_.Get(), EPOLL_CTL_MOD, fd, &event) != 0) {
        Fail("epoll_ctl");
    }
}

void EventLoop::Forget(int fd) {
    if (watched_.erase(fd) == 0) {
        return;
    }
    epoll_event unused{};
    // It can only fail when the descriptor is gone already, and then it is not watched either.
    (void)epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, fd, &unused);
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

void EventLoop::Handle(uint64_t tag, uint32_t events) {
    const auto found = watched_.find(static_cast<int>(static_cast<uint32_t>(tag)));
    if (found != watched_.end() && Tag(found->first, found->second.id) == tag) {
        const FdHandler handler = found->second.handler;  // a copy: it may forget itself
        handler(events);
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
            Handle(events[i].data.u64, events[i].events);
        }
        FireTimers();
        if (roundEnd_) {
            roundEnd_();
        }
    }
}

}  // namespace ProcMgrDaemon
