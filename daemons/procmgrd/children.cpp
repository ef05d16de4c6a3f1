#include "daemons/procmgrd/children.h"

#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace ProcMgrDaemon {

namespace {

constexpr std::chrono::seconds kStrangersMayWait{1};

}  // namespace

Children::Children(EventLoop& loop) : loop_(loop), ends_(epoll_create1(EPOLL_CLOEXEC)) {
    if (!ends_) {
        throw std::system_error(errno, std::generic_category(), "epoll_create1");
    }
    loop_.Watch(ends_.Get(), EPOLLIN, [this](uint32_t) { OnEnds(); });
}

Children::~Children() {
    loop_.Forget(ends_.Get());
}

void Children::Expect(pid_t pid, EndHandler handler) {
    Expected& expected = expected_[pid];
    expected.handler = std::move(handler);
    expected.end.Reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = static_cast<uint64_t>(pid);
    if (!expected.end || epoll_ctl(ends_.Get(), EPOLL_CTL_ADD, expected.end.Get(), &event) != 0) {
        expected.end.Reset();  // an older kernel, or none to be had: then by signal
        needSignals_ = true;
    }
}

void Children::OnEnds() {
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(ends_.Get(), events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const auto pid = static_cast<pid_t>(events[i].data.u64);
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            Tell(pid, status);
        }
    }
}

void Children::OnSignal() {
    if (needSignals_) {
        ReapAll();
    } else if (!isLookDue_) {
        isLookDue_ = true;
        (void)loop_.After(kStrangersMayWait, [this] {
            isLookDue_ = false;
            ReapAll();
        });
    }
}

void Children::ReapAll() {
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        Tell(pid, status);
    }
}

void Children::Tell(pid_t pid, int waitStatus) {
    const auto found = expected_.find(pid);
    if (found == expected_.end()) {
        return;  // somebody else's child, inherited over an exec of ours
    }
    // Out of the table first: the handler may start the next process, under the same number.
    const EndHandler handler = std::move(found->second.handler);
    expected_.erase(found);
    handler(waitStatus);
}

}  // namespace ProcMgrDaemon
