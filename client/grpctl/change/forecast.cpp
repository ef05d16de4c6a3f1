#include "client/grpctl/change/forecast.h"

#include <algorithm>

#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/name_list.h"
#include "src/common/wait_ladder.h"

namespace GrpCtl {

namespace {

using ProcMgr::OptionType;
using std::chrono::milliseconds;

constexpr size_t kReasonWidth = 34;  // characters for the names in a reason

std::string Brief(const Names& names) {
    return Abridged({names.begin(), names.end()}, kReasonWidth);
}

// An application in between may be none of those that are changed: then it is named all the same.
std::string BriefWithin(const Names& names, const Names& frame) {
    const Names within = Common(names, frame);
    return Brief(within.empty() ? names : within);
}

milliseconds StopTimeOf(const ApplicationManifest& manifest) {
    return milliseconds(manifest.GetIsForceTerm() ? 0 : manifest.GetTermTimeOut());
}

class Reason {
public:
    void Add(const std::string& part) { text_ += (text_.empty() ? "" : ", ") + part; }
    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

/// Looks at one plan. Lives for one call.
class Forecaster {
public:
    Forecaster(const Plan& plan, const Dependencies& dependencies,
               const std::map<std::string, Launch>& launches, const Known& known)
        : plan_(plan), dependencies_(dependencies), launches_(launches), known_(known) {
        for (const std::string& needed : dependencies.AllNeeds(plan.starts)) {
            if (!Stays(needed) && plan.starts.count(needed) == 0) {
                gaps_.insert(needed);
            }
        }
    }

    Phase Stops() const {
        Phase phase;
        phase.option = OptionType::TERM;
        std::vector<std::vector<std::string>> waves = dependencies_.Waves(plan_.stops);
        std::reverse(waves.begin(), waves.end());
        for (const std::vector<std::string>& wave : waves) {
            Append(wave, &Forecaster::WhyStopped, plan_.addedStops, phase);
        }
        for (const std::string& name : plan_.stops) {
            phase.isOpen |= IsAlive(name) && !At(name).manifest;
        }
        phase.own = LongestStop();
        return phase;
    }

    Phase Starts() const {
        Phase phase;
        phase.option = OptionType::START;
        for (const std::vector<std::string>& wave : dependencies_.Waves(plan_.starts)) {
            Append(wave, &Forecaster::WhyStarted, plan_.addedStarts, phase);
        }
        phase.isOpen = std::any_of(plan_.starts.begin(), plan_.starts.end(),
                                   [this](const std::string& name) { return !Stays(name); });
        return phase;
    }

    // All at once: there is no order among them.
    Phase Restarts() const {
        Phase phase;
        phase.option = OptionType::RESTART;
        phase.isOpen = true;
        Append({plan_.restarts.begin(), plan_.restarts.end()}, &Forecaster::WhyRestarted, {},
               phase);
        for (const std::string& name : plan_.restarts) {
            phase.own = std::max(phase.own, StopTime(name));
        }
        return phase;
    }

private:
    const Application& At(const std::string& name) const {
        static const Application nobody;
        const auto found = known_.find(name);
        return found == known_.end() ? nobody : found->second;
    }

    bool IsAlive(const std::string& name) const { return At(name).IsAlive(); }

    // Runs, and will when the starts begin.
    bool Stays(const std::string& name) const {
        return At(name).state == AppState::kRunning && plan_.stops.count(name) == 0;
    }

    // Comes up without this change set, or is on its way down: who needs it waits.
    bool IsChanging(const std::string& name) const {
        return IsAlive(name) && At(name).state != AppState::kRunning;
    }

    // What is down is done at once.
    milliseconds StopTime(const std::string& name) const {
        const Application& application = At(name);
        return application.IsAlive() && application.manifest ? StopTimeOf(*application.manifest)
                                                             : milliseconds(0);
    }

    // Each stops as soon as all that need it have: the slowest chain counts, not each wave's
    // slowest.
    milliseconds LongestStop() const {
        std::map<std::string, milliseconds> until;
        for (const std::string& name : dependencies_.InOrder(Reaching())) {
            milliseconds below(0);
            for (const std::string& needed : dependencies_.NeedsOf(name)) {
                const auto found = until.find(needed);
                below = std::max(below, found == until.end() ? milliseconds(0) : found->second);
            }
            const bool isStopped = plan_.stops.count(name) > 0;
            until[name] = below + (isStopped ? StopTime(name) : milliseconds(0));
        }
        milliseconds longest(0);
        for (const auto& [name, time] : until) {
            longest = std::max(longest, time);
        }
        return longest;
    }

    // The stops, and what lies between two of them.
    Names Reaching() const {
        Names names = plan_.stops;
        names.merge(
            Common(dependencies_.AllNeeds(plan_.stops), dependencies_.AllNeeding(plan_.stops)));
        return names;
    }

    void Append(const std::vector<std::string>& wave,
                std::string (Forecaster::*why)(const std::string&) const, const Names& added,
                Phase& phase) const {
        std::vector<PlannedStep> steps;
        steps.reserve(wave.size());
        for (const std::string& name : wave) {
            steps.push_back({name, (this->*why)(name), added.count(name) == 0});
        }
        phase.waves.push_back(std::move(steps));
    }

    std::string WhyStopped(const std::string& name) const {
        Reason reason;
        reason.Add(plan_.addedStops.count(name) == 0
                       ? "asked for"
                       : "stopped before " + BriefWithin(dependencies_.NeedsOf(name), plan_.stops));
        const Names left = Bereft(name);
        if (!left.empty()) {
            reason.Add("although needed by " + Brief(left));
        }
        AddStop(name, "does not run", reason);
        return reason.Text();
    }

    // Who runs on without it.
    Names Bereft(const std::string& name) const {
        Names left;
        for (const std::string& needing : dependencies_.NeededBy(name)) {
            if (IsAlive(needing) && plan_.stops.count(needing) == 0) {
                left.insert(needing);
            }
        }
        return plan_.starts.count(name) > 0 ? Names() : left;
    }

    void AddStop(const std::string& name, const char* idle, Reason& reason) const {
        if (!At(name).manifest) {
            reason.Add("not in the configuration");
        } else if (!IsAlive(name)) {
            reason.Add(idle);
        } else if (At(name).manifest->GetIsForceTerm()) {
            reason.Add("killed at once");
        } else {
            reason.Add(ShowDuration(StopTime(name)) + " to stop");
        }
    }

    std::string WhyStarted(const std::string& name) const {
        Reason reason;
        reason.Add(plan_.addedStarts.count(name) == 0
                       ? "asked for"
                       : "needed by " + BriefWithin(dependencies_.NeededBy(name), plan_.starts));
        if (Stays(name)) {
            reason.Add("runs already");
            return reason.Text();
        }
        AddLaunch(name, reason);
        AddWaits(name, reason);
        return reason.Text();
    }

    void AddLaunch(const std::string& name, Reason& reason) const {
        const auto launch = launches_.find(name);
        if (launch != launches_.end()) {
            for (const auto& [index, values] : launch->second.parameters) {
                reason.Add("parameter " + std::to_string(index) + "=" + Abridged(values, 30, ","));
            }
            if (!launch->second.arguments.empty()) {
                reason.Add("arguments " + Abridged(launch->second.arguments, 30, " "));
            }
        }
        const bool hasParameters = launch != launches_.end() && !launch->second.parameters.empty();
        if (At(name).IsTemplate() && !hasParameters) {
            reason.Add("a template, without parameters");
        }
        AddReadiness(name, reason);
    }

    void AddReadiness(const std::string& name, Reason& reason) const {
        const Application& application = At(name);
        if (!application.manifest) {
            reason.Add("not in the configuration");
        } else if (application.manifest->GetIsReporting()) {
            reason.Add("waits for READY=1");
        } else if (application.manifest->GetIsRosNode()) {
            reason.Add("waits for its node's word");
        }
    }

    // What nobody starts along blocks all that need it, through whatever runs in between.
    void AddWaits(const std::string& name, Reason& reason) const {
        Names missing;
        Names coming;
        if (!gaps_.empty()) {
            for (const std::string& needed : Common(dependencies_.AllNeeds({name}), gaps_)) {
                (IsChanging(needed) ? coming : missing).insert(needed);
            }
        }
        if (!missing.empty()) {
            reason.Add("blocked: needs " + Brief(missing));
        }
        if (!coming.empty()) {
            reason.Add("waits for " + Brief(coming));
        }
        if (IsChanging(name) && plan_.stops.count(name) == 0) {
            reason.Add("on its way up or down now");
        }
    }

    std::string WhyRestarted(const std::string& name) const {
        Reason reason;
        reason.Add("asked for");
        AddStop(name, "does not run: refused unless it ran before", reason);
        if (At(name).manifest && IsAlive(name)) {
            AddLaunch(name, reason);
        }
        return reason.Text();
    }

    const Plan& plan_;
    const Dependencies& dependencies_;
    const std::map<std::string, Launch>& launches_;
    const Known& known_;
    Names gaps_;  // what the starts need, but neither runs nor is started
};

}  // namespace

size_t Phase::Count() const {
    size_t count = 0;
    for (const std::vector<PlannedStep>& wave : waves) {
        count += wave.size();
    }
    return count;
}

milliseconds Phase::Longest() const {
    return isOpen ? limit : std::min(limit, own);
}

// A restart that has used up its time for the stop has none left for the start.
bool Phase::IsTooShort() const {
    return option == OptionType::RESTART ? own > milliseconds(0) && own >= limit : own > limit;
}

milliseconds Patience::OfPhase() const {
    constexpr milliseconds kLongRun(1800000);
    const milliseconds wait = ProcMgr::EffectiveWait(static_cast<int32_t>(timeout.count()));
    return isLongRun ? std::max(wait, kLongRun) : wait;
}

// The time-out once for each phase.
milliseconds Patience::OfClient() const {
    return 3 * timeout + GrpOwnerClient::SsClient::kMargin;
}

milliseconds Forecast::Longest() const {
    milliseconds longest(0);
    for (const Phase& phase : phases) {
        longest += phase.Longest();
    }
    return longest;
}

bool Forecast::IsTooShort() const {
    return std::any_of(phases.begin(), phases.end(),
                       [](const Phase& phase) { return phase.IsTooShort(); });
}

// What the owner keeps back of a time-out grows at some, so a longer one may be less.
milliseconds Forecast::Enough() const {
    constexpr milliseconds kSecond(1000);
    milliseconds own(0);
    for (const Phase& phase : phases) {
        own = std::max(own, phase.own);
    }
    milliseconds enough = own - own % kSecond + kSecond;
    while (ProcMgr::EffectiveWait(static_cast<int32_t>(enough.count())) <= own) {
        enough += kSecond;
    }
    return enough;
}

Forecast Foresee(const Plan& plan, const Dependencies& dependencies,
                 const std::map<std::string, Launch>& launches, const Known& known,
                 const Patience& patience) {
    const Forecaster forecaster(plan, dependencies, launches, known);
    Forecast forecast;
    forecast.patience = patience;
    if (!plan.stops.empty()) {
        forecast.phases.push_back(forecaster.Stops());
    }
    if (!plan.starts.empty()) {
        forecast.phases.push_back(forecaster.Starts());
    }
    if (!plan.restarts.empty()) {
        forecast.phases.push_back(forecaster.Restarts());
    }
    for (Phase& phase : forecast.phases) {
        phase.limit = patience.OfPhase();
    }
    return forecast;
}

}  // namespace GrpCtl
