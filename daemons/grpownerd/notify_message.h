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
};

/// Lines that are not ours to know are skipped.
NotifyMessage ParseNotifyMessage(std::string_view text);

/// Who has sent it.
struct NotifySender {
    pid_t leader = 0;         // of the sender's process group: the application's pid
    std::string application;  // empty: none of our group
};

}  // namespace GrpOwnerDaemon
