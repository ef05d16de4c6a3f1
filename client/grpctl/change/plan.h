#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/grpctl/group/dependencies.h"
#include "client/ss_client.h"

namespace GrpCtl {

/// What somebody wants to change.
struct Wish {
    Names stops;
    Names starts;
    Names restarts;
    bool isWithoutDependencies = false;  // exactly what was asked for
    bool isWithDependents = false;       // stop what needs a stopped one as well
    bool isForced = false;               // stop it although others need it
};

/// What is to be sent for it.
struct Plan {
    Names stops;
    Names starts;
    Names restarts;
    Names addedStops;   // of them, not asked for
    Names addedStarts;  // of them, not asked for
    Names alreadyUp;    // asked for, but not sent
    Names bereft;       // applications that run and need what would be stopped: refuse

    bool IsEmpty() const { return stops.empty() && starts.empty() && restarts.empty(); }
    size_t Size() const { return stops.size() + starts.size() + restarts.size(); }
};

/// @param running what runs
/// @param alive what runs or is on its way up or down
Plan MakePlan(const Wish& wish, const Dependencies& dependencies, const Names& running,
              const Names& alive);

/// One application's part of a change set's answer.
struct Outcome {
    std::string name;
    ProcMgr::OptionType option = ProcMgr::OptionType::START;
    uint32_t result = 0;  // AppChangeState, but any number may arrive
};

/// Tells which part of the change set each result belongs to: an application can be in it twice.
/// Parts that the owner did not come to are INIT. Stops first, dependants before what they need,
/// then starts and restarts the other way round.
std::vector<Outcome> Match(const Plan& plan, const Dependencies& dependencies,
                           const std::vector<GrpOwnerClient::ChangeResult>& results);

}  // namespace GrpCtl
