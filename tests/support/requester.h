#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerTest {

/// The commands of a request.
enum SsCommand : unsigned {
    kChangeApps = 0,
    kReloadConfiguration = 3,
    kDump = 4,
    kStopAll = 5,
    kListApps = 6,
    kVerifyApps = 8,
    kQueryStates = 9,
};

/// The system-state manager at the owner's virtual file, with bytes of its own making. One for each
/// thread that makes requests.
class Requester {
public:
    Requester();

    /// @return the answer; "error <number>" when there is none
    std::string Ask(unsigned command, const std::string& payload = {}, int32_t timeout = 5000);

    /// A change set of plain names.
    std::string Change(const std::vector<std::string>& term, const std::vector<std::string>& start,
                       const std::vector<std::string>& restart = {}, int32_t timeout = 5000);

    /// The states of these names: "1" or "0", then name pid state of each.
    std::string Query(const std::vector<std::string>& names);

private:
    GrpOwnerMemory::VirtualFileClient file_;
};

}  // namespace GrpOwnerTest
