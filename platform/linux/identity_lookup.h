#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace GrpOwnerLinux {

/// Finds the numbers of users and groups, each name once: a thousand applications often share one.
class IdentityLookup {
public:
    std::optional<uint32_t> User(const std::string& name);
    std::optional<uint32_t> Group(const std::string& name);

private:
    std::map<std::string, std::optional<uint32_t>> users_;
    std::map<std::string, std::optional<uint32_t>> groups_;
};

}  // namespace GrpOwnerLinux
