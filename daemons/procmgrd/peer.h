#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace ProcMgrDaemon {

/// Who is at the other end of a socket, as the kernel knows it.
struct Peer {
    pid_t pid = 0;
    uid_t uid = 0;
    gid_t gid = 0;
};

std::optional<Peer> PeerOf(int socket);

/// Whether the peer may own a group: root, our own user, and the members of the configured group.
bool MayOwn(int socket, const Peer& peer, std::optional<gid_t> group);

}  // namespace ProcMgrDaemon
