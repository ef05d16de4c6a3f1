#pragma once

#include <functional>
#include <optional>
#include <string>

#include "daemons/common/lock_file.h"
#include "daemons/common/unique_fd.h"
#include "daemons/grpownerd/notify_message.h"

namespace GrpOwnerDaemon {

/// The socket at which the applications of this owner report. Used by one thread.
class NotifySocket {
public:
    using Handler = std::function<void(const NotifySender&, const NotifyMessage&)>;

    /// @throw std::runtime_error when the socket cannot be had, or another owner of this name has
    /// it
    NotifySocket(std::string path, std::string owner);
    ~NotifySocket() { Close(); }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    int Get() const { return socket_.Get(); }

    /// Whose children count as applications. To be told before anything is read.
    void SetManager(pid_t pid) { manager_ = pid; }

    /// Ends the service and removes the socket.
    void Close();

    /// Reads what has arrived, or a good part of it. A barrier's descriptor is closed when what
    /// came before it has been handled: its sender waits for that.
    void ReadSome(const Handler& handler);

private:
    bool ReadOne(const Handler& handler);

    const std::string path_;
    const std::string owner_;
    pid_t manager_ = 0;
    std::optional<Daemons::LockFile> lock_;
    Daemons::UniqueFd socket_;
};

}  // namespace GrpOwnerDaemon
