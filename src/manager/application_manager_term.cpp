// Termination: dependants before what they depend on.

#include <utility>

#include "src/agent/procmgr_agent.h"
#include "src/common/logging.h"
#include "src/manager/application_manager.h"

namespace ProcMgr {

// Who waits for whom, for whoever observes.
ApplicationManager::Dependants ApplicationManager::DependantsAmong(
    const std::vector<AppInfoForServer>& apps) {
    Dependants dependants;
    MutexLock lock(mutex_);
    for (const AppInfoForServer& app : apps) {
        if (const auto application = FindLocked(app.name); application != nullptr) {
            for (const std::string& needed : application->GetDepends()) {
                dependants[needed].insert(app.name);
            }
        }
    }
    return dependants;
}

bool ApplicationManager::TermApps(const std::vector<AppInfoForServer>& apps) {
    GRP_WARNING("TermApps begin.");
    const Milliseconds wait = BatchWait(changeTimeout_, term_.timeout);
    const TimePoint deadline = Now() + wait;
    term_.phase.Begin(apps.size(), wait);
    term_.Request(apps);
    if (!MakeTermGraph(apps)) {
        return false;
    }
    const auto dependants = Trace::IsOpen() ? DependantsAmong(apps) : Dependants{};
    FreeRecords free;
    while (!term_.IsGraphEmpty()) {
        GRP_INFO("TermApps ... ");
        if (!term_.WaitForResult(deadline)) {
            GRP_ERROR("ChangeApp failed. because TermApps failed time-out.");
            term_.phase.TimeOut();
            return false;
        }
        free.Refresh(term_.FreeNames(), Removals());
        ReleaseNew(free, dependants);
        TermNoDependsApps(free);
    }
    GRP_WARNING("TermApps end.");
    return true;
}

// What was offered before has been told.
void ApplicationManager::ReleaseNew(const FreeRecords& free, const Dependants& dependants) {
    for (const auto& [name, application] : free.records) {
        if (application == nullptr) {
            const auto others = dependants.find(name);
            term_.phase.Release(name, others == dependants.end() ? Names{} : others->second);
        }
    }
}

bool ApplicationManager::MakeTermGraph(const std::vector<AppInfoForServer>& apps) {
    std::vector<std::string> names;
    names.reserve(apps.size());
    for (const AppInfoForServer& app : apps) {
        names.push_back(app.name);
    }
    DependGraph graph;
    std::vector<std::string> unknown;
    const bool isMade = ParseAndDepend::GetInstance().GetTermGraphWithErrApp(names, graph, unknown);
    for (const std::string& name : unknown) {
        GRP_ERROR("App <%s> is not in term graph, plz check start yaml.", name.c_str());
    }
    if (!isMade) {
        GRP_ERROR("ParseAndDepend::GetInstance().GetTermGraphWithErrApp failed!");
        return false;
    }
    term_.SetGraph(std::move(graph));
    return true;
}

// Every result leads here, and what still terminates is free and sent again: the process manager
// takes a repeated request for what it is. Results that arrive meanwhile share the next pass.
void ApplicationManager::TermNoDependsApps(FreeRecords& free) {
    std::vector<Message::TermAppInfo> toSend;
    toSend.reserve(free.records.size());
    for (auto& [name, application] : free.records) {
        const bool isFirstOffer = application == nullptr;
        const Trace::Cause release(isFirstOffer ? Trace::ReleaseOf(name) : 0);
        switch (BeginTerm(name, application, free.removals)) {
            case TermOutcome::kMissing:
                GRP_ERROR(
                    "TermApp %s failed. because term elem not in baseApplication and "
                    "drivingApplication!",
                    name.c_str());
                break;
            case TermOutcome::kRefused:
                GRP_ERROR(
                    "ApplicationManager: termApp %s failed. because cannot term in this state!",
                    name.c_str());
                ReportTermAppResult(name, AppChangeState::TERM_FAILED);
                break;
            case TermOutcome::kDownAlready:
                ReportTermAppResult(name, AppChangeState::SUCCESS);
                break;
            case TermOutcome::kAccepted:
                toSend.push_back({name});
                if (isFirstOffer) {
                    Trace::Sent(OptionType::TERM, name);
                }
                GRP_WARNING("ApplicationManager: Add to termAppList term info: name=%s ",
                            name.c_str());
                break;
        }
    }
    if (toSend.empty()) {
        return;
    }
    GRP_WARNING("ApplicationManager: TermApps emAgent TermApp begin.");
    const uint32_t result = ProcMgrAgent::GetInstance().TermApp(toSend);
    GRP_WARNING("ApplicationManager: TermApps emAgent TermApp end. (return=%u)", result);
    Trace::NotSent(OptionType::TERM, toSend, result);
}

// Look-up and transition are one critical section, so that they meet the record that a report
// meets.
ApplicationManager::TermOutcome ApplicationManager::BeginTerm(
    const std::string& name, std::shared_ptr<Application>& application, uint64_t removals) {
    MutexLock lock(mutex_);
    if (application == nullptr || removals != removals_) {
        application = FindOrCreateLocked(name, true);
    }
    if (application == nullptr) {
        return TermOutcome::kMissing;
    }
    AppStateType state{};
    if (!application->TermTo(state)) {
        return TermOutcome::kRefused;
    }
    if (const auto end = endBeingHandled_.find(name); end != endBeingHandled_.end()) {
        end->second = true;
    }
    const bool isDown = state == AppStateType::TERMINATED || state == AppStateType::INITSTATE;
    if (!isDown && beingSent_.count(name) > 0) {
        overtaken_.insert(name);
    }
    return isDown ? TermOutcome::kDownAlready : TermOutcome::kAccepted;
}

}  // namespace ProcMgr
