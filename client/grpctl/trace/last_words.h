#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "client/grpctl/text/screen.h"

namespace GrpCtl {

/// What an application has left behind.
struct LastWords {
    std::string end;                 // "exit status 3"; empty: it goes on, or nobody knows
    std::vector<std::string> lines;  // of output, the newest; may hold anything
};

/// By name; who has left nothing is not in it.
using AllLastWords = std::map<std::string, LastWords>;

/// Asks the process manager what these applications have printed last, and how they ended, since a
/// moment. Empty when it cannot be reached or does not tell: this is a courtesy.
/// @param ownerSocket  the process manager's lies beside it
AllLastWords AskForLastWords(const std::string& ownerSocket, const std::string& owner,
                             const std::vector<std::string>& names,
                             std::chrono::steady_clock::time_point since);

/// In lines for people; empty for none.
std::string TextOf(const AllLastWords& words, const Screen& screen);

}  // namespace GrpCtl
