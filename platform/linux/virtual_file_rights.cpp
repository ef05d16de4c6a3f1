#include "platform/linux/virtual_file_rights.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <vector>

namespace GrpOwnerLinux {

namespace {

constexpr size_t kNameBuffer = 16 * 1024;

// Names are for people only: whoever has none, or one that takes long to say, is told by number.
std::string UserName(uint32_t number) {
    std::array<char, kNameBuffer> buffer{};
    passwd record{};
    passwd* found = nullptr;
    if (getpwuid_r(number, &record, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr) {
        return found->pw_name;
    }
    return std::to_string(number);
}

std::string GroupName(uint32_t number) {
    std::array<char, kNameBuffer> buffer{};
    group record{};
    group* found = nullptr;
    if (getgrgid_r(number, &record, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr) {
        return found->gr_name;
    }
    return std::to_string(number);
}

bool ReadSupplementaryGroups(int socket, std::set<uint32_t>& groups) {
    std::vector<gid_t> numbers(64);
    socklen_t size = 0;
    int result = 0;
    do {
        size = static_cast<socklen_t>(numbers.size() * sizeof(gid_t));
        result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, numbers.data(), &size);
        numbers.resize(size / sizeof(gid_t));  // on ERANGE it says how much it takes
    } while (result != 0 && errno == ERANGE);
    if (result == 0) {
        groups.insert(numbers.begin(), numbers.end());
    }
    return result == 0;
}

}  // namespace

std::optional<PeerCredentials> ReadPeerCredentials(int socket) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return std::nullopt;
    }
    PeerCredentials peer{credentials.uid, {credentials.gid}, credentials.pid};
    if (!ReadSupplementaryGroups(socket, peer.groups)) {
        return std::nullopt;
    }
    return peer;
}

VirtualFileRights RightsOf(const PeerCredentials& peer, uint32_t ownUser,
                           std::optional<uint32_t> changeGroup) {
    const bool mayChange = peer.user == 0 || peer.user == ownUser ||
                           (changeGroup && peer.groups.count(*changeGroup) > 0);
    return mayChange ? VirtualFileRights::kChange : VirtualFileRights::kQuery;
}

bool MayGive(VirtualFileRights rights, uint32_t command, const std::set<uint32_t>& openCommands) {
    return rights == VirtualFileRights::kChange ||
           (rights == VirtualFileRights::kQuery && openCommands.count(command) > 0);
}

std::string ExplainMissingRights(const PeerCredentials& peer, uint32_t command, uint32_t ownUser,
                                 std::optional<uint32_t> changeGroup) {
    const std::string user = UserName(peer.user);
    std::string text =
        "user " + user + " may not give command " + std::to_string(command) + ": give it as root";
    if (ownUser != 0) {
        text += " or as user " + UserName(ownUser);
    }
    if (!changeGroup) {
        return text + ", or let the owner name a group that may";
    }
    const std::string group = GroupName(*changeGroup);
    return text + ", or become a member of group " + group + " (usermod -aG " + group + " " + user +
           ", then log in anew)";
}

}  // namespace GrpOwnerLinux
