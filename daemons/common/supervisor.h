#pragma once

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

    /// Lines as in "READY=1\nSTATUS=...".
    void Tell(const std::string& lines) const;

    /// How often to say WATCHDOG=1; 0: never.
    std::chrono::milliseconds WatchdogInterval() const { return interval_; }

private:
    std::string address_;
    UniqueFd socket_;  // from the beginning: a beat must not fail for want of a descriptor
    std::chrono::milliseconds interval_{0};
};

}  // namespace Daemons
