#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "platform/linux/host.h"
#include "platform/linux/virtual_file_frame.h"

namespace GrpOwnerLinux {

/// Who connected, as the kernel knew it then.
struct PeerCredentials {
    uint32_t user = 0;
    std::set<uint32_t> groups;  // with the supplementary ones
    int32_t process = 0;
};

/// @return nothing when the kernel does not tell
std::optional<PeerCredentials> ReadPeerCredentials(int socket);

/// @param ownUser the user that this process runs as
VirtualFileRights RightsOf(const PeerCredentials& peer, uint32_t ownUser,
                           std::optional<uint32_t> changeGroup);

/// Whether a peer with these rights may give a command.
bool MayGive(VirtualFileRights rights, uint32_t command, const std::set<uint32_t>& openCommands);

/// Why a peer may not give a command, and what would mend it.
std::string ExplainMissingRights(const PeerCredentials& peer, uint32_t command, uint32_t ownUser,
                                 std::optional<uint32_t> changeGroup);

}  // namespace GrpOwnerLinux
