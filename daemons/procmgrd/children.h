#pragma once

#include <sys/types.h>

#include <functional>
#include <unordered_map>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"

namespace ProcMgrDaemon {

/// Who wants to know of the end of which child. Each child has a descriptor that tells of its end:
/// to ask the kernel who of a thousand has ended takes a look at all of them.
class Children {
public:
    using EndHandler = std::function<void(int waitStatus)>;

    explicit Children(EventLoop& loop);
    ~Children();
    Children(const Children&) = delete;
    Children& operator=(const Children&) = delete;

    void Expect(pid_t pid, EndHandler handler);
    void Forget(pid_t pid) { expected_.erase(pid); }

    /// To be called when SIGCHLD has arrived: for children that have no descriptor, and for those
    /// that nobody expects.
    void OnSignal();

private:
    struct Expected {
        EndHandler handler;
        Daemons::UniqueFd end;
    };

    void OnEnds();
    void ReapAll();
    void Tell(pid_t pid, int waitStatus);

    EventLoop& loop_;
    Daemons::UniqueFd ends_;  // an epoll of their descriptors
    std::unordered_map<pid_t, Expected> expected_;
    bool needSignals_ = false;  // a child has no descriptor
    bool isLookDue_ = false;
};

}  // namespace ProcMgrDaemon
