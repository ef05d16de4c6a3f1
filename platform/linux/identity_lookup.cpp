#include "platform/linux/identity_lookup.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <vector>

namespace GrpOwnerLinux {

namespace {

// Asks one of the system's databases, with a buffer that grows while it is too small.
template <typename Record>
const Record* Ask(int (*ask)(const char*, Record*, char*, size_t, Record**),
                  const std::string& name, Record& record, std::vector<char>& buffer) {
    constexpr size_t kLargestBuffer = 1024 * 1024;
    Record* found = nullptr;
    for (buffer.resize(4096);
         ask(name.c_str(), &record, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < kLargestBuffer;) {
        buffer.resize(buffer.size() * 2);
    }
    return found;
}

}  // namespace

std::optional<uint32_t> IdentityLookup::User(const std::string& name) {
    const auto [entry, isNew] = users_.emplace(name, std::nullopt);
    if (isNew) {
        passwd record{};
        std::vector<char> buffer;
        if (const passwd* const user = Ask(getpwnam_r, name, record, buffer)) {
            entry->second = user->pw_uid;
        }
    }
    return entry->second;
}

std::optional<uint32_t> IdentityLookup::Group(const std::string& name) {
    const auto [entry, isNew] = groups_.emplace(name, std::nullopt);
    if (isNew) {
        group record{};
        std::vector<char> buffer;
        if (const group* const found = Ask(getgrnam_r, name, record, buffer)) {
            entry->second = found->gr_gid;
        }
    }
    return entry->second;
}

}  // namespace GrpOwnerLinux
