#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "daemons/common/lock_file.h"
#include "daemons/common/unique_fd.h"
#include "daemons/grpownerd/notify_message.h"

namespace GrpOwnerDaemon {

/// The socket at which the applications of this owner report. Who they are is told by the process
/// group of the sender, as the kernel knows it: the process manager makes each application a group
/// of its own. What a sender says of itself does not count. Used by one thread.
class NotifySocket {
public:
    using Handler = std::function<void(pid_t leader, const NotifyMessage&)>;

    /// @throw std::runtime_error when the socket cannot be had, or another owner of this name has
    /// it
    NotifySocket(std::string path, const std::string& owner);
    ~NotifySocket() { Close(); }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    int Get() const { return socket_.Get(); }

    /// Ends the service and removes the socket.
    void Close();

    /// Reads what has arrived, or a good part of it. A barrier's descriptor is closed when what
    /// came before it has been handed over: its sender waits until nobody asks for it any more.
    void ReadSome(const Handler& handler);

private:
    bool ReadOne(const Handler& handler);

    const std::string path_;
    std::optional<Daemons::LockFile> lock_;
    Daemons::UniqueFd socket_;
};

}  // namespace GrpOwnerDaemon
