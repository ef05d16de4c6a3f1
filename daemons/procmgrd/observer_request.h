#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "daemons/procmgrd/process_event.h"

namespace ProcMgrDaemon {

/// What an observer wants to hear.
struct ObserverRequest {
    std::string owner;                   // empty: of all owners
    std::set<std::string> applications;  // empty: all
    std::optional<uint64_t> lines;       // so many past ones of each; nothing: no output at all
    std::optional<uint64_t> events;      // so many past ones; nothing: none at all
    bool isFollowing = false;

    bool IsAbout(const ApplicationId& id) const {
        return (owner.empty() || id.owner == owner) &&
               (applications.empty() || applications.count(id.name) > 0);
    }
};

/// Reads words, with blanks between them:
///   owner=NAME application=NAME... lines=NUMBER events=NUMBER follow
/// @return what is wrong with them; empty: nothing
std::string ReadRequest(std::string_view line, ObserverRequest& request);

}  // namespace ProcMgrDaemon
