#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace GrpOwnerTest {

/// The commands of a request.
enum SsCommand : unsigned {
    kChangeApps = 0,
    kSetSystemState = 2,
    kReloadConfiguration,
    kDump,
    kStopAll,
    kListApps,
    kVerifyApps = 8,
    kQueryStates
};

// The system-state manager at the owner's virtual file, with a connection for each request. Threads
// that ask side by side are as many managers.

/// @return the answer; "error ..." when there is none
std::string Ask(unsigned command, const std::string& payload = {}, int32_t timeout = 5000);

/// A change set of plain names.
std::string AskChange(const std::vector<std::string>& term, const std::vector<std::string>& start,
                      const std::vector<std::string>& restart = {}, int32_t timeout = 5000);

/// The states of these names, as the bytes say them.
std::string AskStates(const std::vector<std::string>& names);

}  // namespace GrpOwnerTest
