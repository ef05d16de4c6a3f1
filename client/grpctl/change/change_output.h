#pragma once
// How a change set is shown afterwards.

#include <chrono>
#include <string>
#include <vector>

#include "client/grpctl/change/change_set.h"
#include "client/grpctl/progress/progress.h"
#include "client/grpctl/trace/last_words.h"

namespace GrpCtl {

/// What became of a change set.
struct Report {
    std::vector<Outcome> outcomes;
    std::map<std::string, int> pidsBefore;
    std::chrono::milliseconds duration{0};
    SeenTasks seen;
    bool isStateKnown = true;  // the group was asked afterwards
    AllLastWords lastWords;    // of those that failed
};

/// @param group with the states afterwards
void ShowReport(const Options& options, const Order& order, const Plan& plan, const Group& group,
                const Report& report);

/// The names of those that failed.
std::vector<std::string> Failed(const Report& report);

}  // namespace GrpCtl
