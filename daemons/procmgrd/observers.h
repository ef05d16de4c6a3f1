#pragma once

#include <memory>
#include <string>
#include <vector>

#include "daemons/procmgrd/observer.h"
#include "daemons/procmgrd/options.h"
#include "daemons/procmgrd/server_socket.h"

namespace ProcMgrDaemon {

/// The socket at which observers connect, and those who have. Root, the process manager's own user
/// and the members of the configured group see everything, the user of an owner sees what is its.
class Observers {
public:
    /// All of them outlive this object.
    /// @throw std::runtime_error when there can be no socket
    Observers(EventLoop& loop, ObserverHost& host, Journal& journal, const std::string& path,
              const Options& options);

    /// Tells those who can be told. To be called when a round of events is over.
    void Pump();

private:
    void OnAccepted(Daemons::UniqueFd socket);

    EventLoop& loop_;
    ObserverHost& host_;
    Journal& journal_;
    const Options& options_;
    std::vector<std::unique_ptr<Observer>> observers_;
    ServerSocket server_;
};

}  // namespace ProcMgrDaemon
