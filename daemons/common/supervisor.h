#pragma once

#include <sys/socket.h>

#include <chrono>
#include <string>

#include "daemons/common/unique_fd.h"

namespace Daemons {

/// The supervisor above the process manager: what it wants to hear at NOTIFY_SOCKET. Its variables
/// are taken out of the environment, so that no application speaks in our name.
class Supervisor {
public:
    Supervisor();

    /// Whether somebody listens.
    bool IsThere() const { return !address_.empty(); }

    /// Lines as in "STATUS=...".
    /// @return false when they are lost because the supervisor is busy
    bool Tell(const std::string& lines) const { return Send(lines, MSG_DONTWAIT); }

    /// What is said only once, as "READY=1": waits up to a second for a busy supervisor.
    void TellPatiently(const std::string& lines) const { (void)Send(lines, 0); }

    /// How often to say WATCHDOG=1; 0: never.
    std::chrono::milliseconds WatchdogInterval() const { return interval_; }

private:
    bool Send(const std::string& lines, int flags) const;

    std::string address_;
    UniqueFd socket_;  // from the beginning: a beat must not fail for want of a descriptor
    std::chrono::milliseconds interval_{0};
};

}  // namespace Daemons
