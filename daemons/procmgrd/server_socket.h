#pragma once

#include <functional>
#include <optional>
#include <string>

#include "daemons/common/lock_file.h"
#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"

namespace ProcMgrDaemon {

/// The socket at which owners open their pipes, mode 0660, and the lock beside it ("<path>.lock"):
/// only who holds the lock may remove a socket that a dead process left behind.
class ServerSocket {
public:
    using AcceptHandler = std::function<void(Daemons::UniqueFd)>;

    /// @throw std::runtime_error saying what is wrong, when another process serves the path too
    ServerSocket(EventLoop& loop, std::string path, std::optional<gid_t> group,
                 AcceptHandler handler);
    ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    /// Accepts nobody any more.
    void StopAccepting();

private:
    void Listen(std::optional<gid_t> group);
    void Accept();
    void RefuseNext();

    EventLoop& loop_;
    const std::string path_;
    const AcceptHandler handler_;
    const Daemons::LockFile lock_;
    Daemons::UniqueFd socket_;
    Daemons::UniqueFd spare_;  // given up for a moment to be able to refuse
    std::optional<EventLoop::TimerId> pause_;
    std::optional<EventLoop::TimerId> toldLately_;
};

}  // namespace ProcMgrDaemon
