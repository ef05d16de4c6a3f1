#pragma once

#include <map>
#include <set>
#include <string>

namespace ProcMgrDaemon {

/// Name to what it depends on.
using Depends = std::map<std::string, std::set<std::string>>;

/// Those of `alive` on which nothing else alive depends, directly or through others, dead ones
/// included: what can be ended next. If all wait for each other in a ring, all of them.
std::set<std::string> FreeToEnd(const Depends& depends, const std::set<std::string>& alive);

}  // namespace ProcMgrDaemon
