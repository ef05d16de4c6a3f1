#pragma once
// What a change set would do, told before it does: its waves, why each name is in them, and how
// long the owner may take over it.

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "client/grpctl/change/change_set.h"

namespace GrpCtl {

/// What is known of the applications of a plan.
using Known = std::map<std::string, Application>;

/// One application in one phase.
struct PlannedStep {
    std::string name;
    std::string reason;  // in words
    bool isAsked = true;
};

/// The owner carries out one phase behind the other, and each wave of a phase when the one before
/// is done.
struct Phase {
    ProcMgr::OptionType option = ProcMgr::OptionType::START;
    std::vector<std::vector<PlannedStep>> waves;
    std::chrono::milliseconds limit{0};  // then the owner gives up, and skips the later phases
    std::chrono::milliseconds own{0};    // what the applications' stop times alone can take
    bool isOpen = false;                 // nobody knows how long the rest takes

    size_t Count() const;
    std::chrono::milliseconds Longest() const;
    bool IsTooShort() const;
};

/// How long owner and client wait.
struct Patience {
    std::chrono::milliseconds timeout{0};  // of the request
    bool isLongRun = false;                // the owner gives each phase half an hour

    std::chrono::milliseconds OfPhase() const;
    std::chrono::milliseconds OfClient() const;
};

struct Forecast {
    std::vector<Phase> phases;  // those that are not empty, in the owner's order
    Patience patience;

    /// When the owner has answered at the latest.
    std::chrono::milliseconds Longest() const;

    /// A time-out that leaves every phase the time of its own.
    std::chrono::milliseconds Enough() const;
    bool IsTooShort() const;
};

Forecast Foresee(const Plan& plan, const Dependencies& dependencies,
                 const std::map<std::string, Launch>& launches, const Known& known,
                 const Patience& patience);

}  // namespace GrpCtl
