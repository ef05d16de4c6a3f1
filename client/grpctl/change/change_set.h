#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/grpctl/change/plan.h"
#include "client/grpctl/group/group.h"
#include "client/grpctl/typed/options.h"

namespace GrpCtl {

/// What an application is started with.
struct Launch {
    std::vector<std::string> arguments;  // none: those of the configuration
    Parameters parameters;
};

/// A change set as somebody asked for it.
struct Order {
    Wish wish;
    std::map<std::string, Launch> launches;
    std::vector<std::string> names;  // as they were typed
    std::string verb;                // "start"
    std::string did;                 // "started"
};

/// Plans it, says what comes with it, has it carried out and shows what became of it.
/// @return the exit code
int CarryOut(const Options& options, Order order);

/// As the wire has it.
std::vector<GrpOwnerClient::Change> ToChanges(const Plan& plan,
                                              const std::map<std::string, Launch>& launches);

}  // namespace GrpCtl
