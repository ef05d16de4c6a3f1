#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace GrpOwnerDaemon {

/// What an application has said in one datagram of the NOTIFY_SOCKET protocol.
struct NotifyMessage {
    bool isReady = false;
    bool isStopping = false;
    bool isHeartBeat = false;
    std::string status;  // its own words; may be empty
};

/// Lines that are not ours to know are skipped.
NotifyMessage ParseNotifyMessage(std::string_view text);

/// Who has sent it.
struct NotifySender {
    pid_t leader = 0;         // of the sender's process group: the application's pid
    std::string application;  // empty: none of our group
    int error = 0;            // errno that has kept us from finding out
};

/// Resolves a sender by its process group: the process manager makes each application a group of
/// its own and names owner and application in the leader's environment. What the sender says of
/// itself does not count, nor does the environment of whom the process manager has not started. To
/// be called while the sender is kept waiting, or it may be gone.
/// @param manager the process manager's pid
NotifySender ResolveSender(pid_t pid, std::string_view owner, pid_t manager);

}  // namespace GrpOwnerDaemon
