#pragma once

#include <string>

namespace GrpOwnerLinux {

/// Listens on a Unix-domain socket. A lock file beside it ("<path>.lock") decides who
/// may: only who holds it may remove the socket that a dead process left behind. The kernel lets go
/// of the lock with the process.
///
/// Not synchronised: Open and Remove belong to whoever owns it. Never removes anything on its own,
/// since sockets of services live as long as the process.
class ListeningSocket {
public:
    /// @param type SOCK_SEQPACKET or SOCK_STREAM
    explicit ListeningSocket(int type) : type_(type) {}

    /// Everybody may connect; what a peer may do is decided by its credentials.
    /// @param reason in words, when the result is negative
    /// @return the descriptor, or negative errno: -EADDRINUSE when somebody listens there already,
    ///         be it this process
    int Open(const std::string& path, std::string& reason);

    /// Removes what has been opened. Connections stay.
    void Remove();

private:
    int Lock(std::string& reason);
    int Bind(std::string& reason);

    const int type_;
    std::string path_;
    int lock_ = -1;
    int socket_ = -1;
};

/// Waits for the next peer of a listening socket, whatever becomes of single ones.
/// @return its descriptor; negative once the socket has been removed
int AcceptNext(int listener);

}  // namespace GrpOwnerLinux
