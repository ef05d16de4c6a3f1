#include "daemons/procmgrd/peer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace ProcMgrDaemon {

std::optional<Peer> PeerOf(int socket) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return std::nullopt;
    }
    return Peer{credentials.pid, credentials.uid, credentials.gid};
}

bool MayOwn(int socket, const Peer& peer, std::optional<gid_t> group) {
    if (peer.uid == 0 || peer.uid == geteuid() || (group && peer.gid == *group)) {
        return true;
    }
    if (!group) {
        return false;
    }
    std::vector<gid_t> groups(64);
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    int result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    if (result != 0 && errno == ERANGE) {  // it told the size that it needs
        groups.resize(size / sizeof(gid_t));
        result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    }
    groups.resize(result == 0 ? size / sizeof(gid_t) : 0);
    return std::find(groups.begin(), groups.end(), *group) != groups.end();
}

}  // namespace ProcMgrDaemon
