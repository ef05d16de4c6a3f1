#pragma once

#include <sys/types.h>

#include <functional>
#include <unordered_map>
#include <utility>

namespace ProcMgrDaemon {

/// Who wants to know of the end of which child.
class Children {
public:
    using EndHandler = std::function<void(int waitStatus)>;

    void Expect(pid_t pid, EndHandler handler) { handlers_[pid] = std::move(handler); }
    void Forget(pid_t pid) { handlers_.erase(pid); }

    /// Reaps all that have ended; to be called when SIGCHLD arrived.
    void ReapEnded();

private:
    std::unordered_map<pid_t, EndHandler> handlers_;
};

}  // namespace ProcMgrDaemon
