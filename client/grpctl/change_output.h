#pragma once
// How a change set is shown, before and after.

#include <chrono>
#include <string>
#include <vector>

#include "client/grpctl/change_set.h"

namespace GrpCtl {

/// What became of a change set.
struct Report {
    std::vector<Outcome> outcomes;
    std::map<std::string, int> pidsBefore;
    std::chrono::milliseconds duration{0};
    bool isStateKnown = true;  // the group was asked afterwards
};

/// @param group with the states afterwards
void ShowReport(const Options& options, const Order& order, const Plan& plan, const Group& group,
                const Report& report);

/// The names of those that failed.
std::vector<std::string> Failed(const Report& report);

/// What would be done, wave by wave.
/// @param isAccepted what the owner says to it
void ShowDryRun(const Options& options, const Order& order, const Plan& plan, const Group& group,
                const Dependencies& dependencies, bool isAccepted);

}  // namespace GrpCtl
