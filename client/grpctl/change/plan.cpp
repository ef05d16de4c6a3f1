#include "client/grpctl/change/plan.h"

#include <algorithm>
#include <iterator>

namespace GrpCtl {

namespace {

using GrpOwnerClient::ChangeResult;
using ProcMgr::OptionType;
using Results = std::map<std::string, uint32_t>;

Names Without(const Names& names, const Names& others) {
    Names left;
    std::set_difference(names.begin(), names.end(), others.begin(), others.end(),
                        std::inserter(left, left.end()));
    return left;
}

void PlanStops(const Wish& wish, const Dependencies& dependencies, const Names& alive, Plan& plan) {
    plan.stops = wish.stops;
    // What comes back within the same change set leaves nobody alone for good.
    const Names gone = Without(wish.stops, wish.starts);
    const Names needing = Common(dependencies.AllNeeding(gone), alive);
    if (wish.isForced || wish.isWithoutDependencies) {
        return;
    }
    if (wish.isWithDependents) {
        plan.addedStops = Without(needing, wish.stops);
        plan.stops.insert(plan.addedStops.begin(), plan.addedStops.end());
    } else {
        plan.bereft = Without(needing, wish.stops);
    }
}

void PlanStarts(const Wish& wish, const Dependencies& dependencies, const Names& running,
                Plan& plan) {
    if (wish.isWithoutDependencies) {
        plan.starts = wish.starts;
        return;
    }
    // Terminations come before starts: what is stopped in the same change set runs no more then.
    const Names staying = Without(running, plan.stops);
    plan.alreadyUp = Common(wish.starts, staying);
    plan.starts = Without(wish.starts, staying);
    // What an application needs through one that runs already must run as well: the owner's order
    // is that of the whole chain.
    plan.addedStarts = Without(dependencies.AllNeeds(plan.starts), staying);
    plan.starts.insert(plan.addedStarts.begin(), plan.addedStarts.end());
}

Results Take(const std::vector<ChangeResult>& results, size_t first, size_t count) {
    Results part;
    for (size_t index = first; index < std::min(first + count, results.size()); ++index) {
        part[results[index].name] = results[index].state;
    }
    return part;
}

void Append(const std::vector<std::string>& names, OptionType option, const Results& results,
            std::vector<Outcome>& outcomes) {
    for (const std::string& name : names) {
        const auto found = results.find(name);
        const auto untouched = static_cast<uint32_t>(AppChangeState::INIT);
        outcomes.push_back({name, option, found == results.end() ? untouched : found->second});
    }
}

}  // namespace

Plan MakePlan(const Wish& wish, const Dependencies& dependencies, const Names& running,
              const Names& alive) {
    Plan plan;
    plan.restarts = wish.restarts;
    PlanStops(wish, dependencies, alive, plan);
    PlanStarts(wish, dependencies, running, plan);
    return plan;
}

std::vector<Outcome> Match(const Plan& plan, const Dependencies& dependencies,
                           const std::vector<ChangeResult>& results) {
    // A failed step skips the later ones; the answer still begins with the starts.
    const size_t starts = results.size() > plan.stops.size() || plan.stops.empty()
                              ? std::min(plan.starts.size(), results.size())
                              : 0;
    const Results started = Take(results, 0, starts);
    const Results stopped = Take(results, starts, plan.stops.size());
    const Results restarted = Take(results, starts + plan.stops.size(), plan.restarts.size());
    std::vector<Outcome> outcomes;
    Append(dependencies.InOrder(plan.stops), OptionType::TERM, stopped, outcomes);
    std::reverse(outcomes.begin(), outcomes.end());
    Append(dependencies.InOrder(plan.starts), OptionType::START, started, outcomes);
    Append(dependencies.InOrder(plan.restarts), OptionType::RESTART, restarted, outcomes);
    return outcomes;
}

}  // namespace GrpCtl
