#pragma once

#include <functional>
#include <optional>
#include <string>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"

namespace ProcMgrDaemon {

/// What kind of socket that is.
struct ServerSocketKind {
    int type;
    mode_t mode;
    const char* peers;           // for the log
    void (*refuse)(int socket);  // says that there is no room for one more
};

/// A socket at which others connect. One that a dead process has left behind is removed: who makes
/// it holds the lock of the run directory.
class ServerSocket {
public:
    using AcceptHandler = std::function<void(Daemons::UniqueFd)>;

    /// @param group whose members may connect, where the mode does not let everybody
    /// @throw std::runtime_error saying what is wrong
    ServerSocket(EventLoop& loop, std::string path, const ServerSocketKind& kind,
                 std::optional<gid_t> group, AcceptHandler handler);
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
    const ServerSocketKind kind_;
    const AcceptHandler handler_;
    Daemons::UniqueFd socket_;
    Daemons::UniqueFd spare_;  // given up for a moment to be able to refuse
    std::optional<EventLoop::TimerId> pause_;
    std::optional<EventLoop::TimerId> toldLately_;
};

}  // namespace ProcMgrDaemon
