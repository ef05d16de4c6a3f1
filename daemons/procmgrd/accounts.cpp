#include "daemons/procmgrd/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <array>

namespace ProcMgrDaemon {

// Only who was found is kept: a look-up that failed says nothing of the next one.
std::optional<Account> Accounts::User(uint32_t uid) {
    if (const auto known = users_.find(uid); known != users_.end()) {
        return known->second;
    }
    std::array<char, 16 * 1024> buffer{};
    passwd record{};
    passwd* found = nullptr;
    if (getpwuid_r(uid, &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return std::nullopt;
    }
    return users_[uid] = {found->pw_name, found->pw_dir, found->pw_shell, found->pw_gid};
}

const std::vector<gid_t>& Accounts::GroupsOf(const std::string& user, uint32_t gid) {
    const auto [entry, isNew] = groups_.try_emplace({user, gid});
    if (isNew) {
        std::vector<gid_t>& groups = entry->second;
        int count = 64;
        groups.resize(static_cast<size_t>(count));
        // Too small: the needed size is told, and the second call has it.
        while (getgrouplist(user.c_str(), gid, groups.data(), &count) < 0) {
            groups.resize(static_cast<size_t>(count));
        }
        groups.resize(static_cast<size_t>(count));
    }
    return entry->second;
}

void Accounts::Forget() {
    users_.clear();
    groups_.clear();
}

}  // namespace ProcMgrDaemon
