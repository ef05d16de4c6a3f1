#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ProcMgrDaemon {

/// What the system says of one user.
struct Account {
    std::string name;
    std::string home;
    std::string shell;
    uint32_t gid = 0;
};

/// The system's users and groups, each looked up once: a look-up opens and reads files, and a group
/// of a thousand applications has few users.
class Accounts {
public:
    /// @return nothing for a number that has no name
    std::optional<Account> User(uint32_t uid);

    /// @return the groups of that user, with this one as its own
    const std::vector<gid_t>& GroupsOf(const std::string& user, uint32_t gid);

    /// From here on everything is looked up anew.
    void Forget();

private:
    std::map<uint32_t, Account> users_;
    std::map<std::pair<std::string, uint32_t>, std::vector<gid_t>> groups_;
};

}  // namespace ProcMgrDaemon
