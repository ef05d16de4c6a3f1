// Dependency-ordered start.

#include <algorithm>
#include <utility>

#include "src/agent/procmgr_agent.h"
#include "src/common/environment.h"
#include "src/common/logging.h"
#include "src/common/wait_ladder.h"
#include "src/manager/application_manager.h"

namespace ProcMgr {

namespace {

constexpr int32_t kBaseStartTimeout = 4500;  // milliseconds

std::string NameOf(AppChangeState state) {
    return GetAppState(static_cast<uint64_t>(state));
}

}  // namespace

/// What the loop of one start knows.
struct ApplicationManager::StartPass {
    std::map<std::string, const AppInfoForServer*> requested;
    FreeRecords free;  // with a record: asked for and begun, so that polling is all that is left
    std::vector<std::string> started;  // sent, or refused at once
    size_t lastStarting = 0;           // the place in there where one was still starting
};

bool ApplicationManager::StartApps(const std::vector<AppInfoForServer>& apps, StartAppInfo& batch,
                                   Milliseconds wait) {
    GRP_WARNING("StartApps begin.");
    batch.phase.Begin(apps.size(), wait);
    for (const AppInfoForServer& app : apps) {
        batch.Request(app.name);  // by itself: what stays in memory is not to lie scattered
    }
    StartPass pass;
    std::vector<std::string> names;
    for (const AppInfoForServer& app : apps) {
        pass.requested[app.name] = &app;  // of a name listed twice the last entry wins
        names.push_back(app.name);
    }
    DependGraph graph;
    std::vector<std::string> unknown;
    const bool isMade =
        ParseAndDepend::GetInstance().GetStartGraphWithErrApp(names, graph, unknown);
    for (const std::string& name : unknown) {
        GRP_ERROR("App <%s> is not in start graph, plz check start yaml.", name.c_str());
    }
    if (!isMade) {
        GRP_ERROR("ParseAndDepend::GetInstance().GetStartGraphWithErrApp failed!");
        return false;
    }
    batch.SetGraph(std::move(graph));
    const TimePoint deadline = Now() + wait;
    while (!batch.IsGraphEmpty() && NeedContinueStart(pass, batch)) {
        if (!FillAppInfoAndStart(pass, batch) || !PollAndWait(pass, batch, deadline)) {
            return false;
        }
    }
    GRP_WARNING("StartApp end.");
    return true;
}

// Every result leads here, and with a thousand free names that still start each look has to be a
// short one: a name that is begun moves only when it is seen running.
bool ApplicationManager::NeedContinueStart(StartPass& pass, StartAppInfo& batch) {
    MutexLock lock(batch.mutex);
    pass.free.Refresh(batch.startGraph.GetNoDependVertices(), Removals());
    bool canMove = false;
    for (const auto& [name, application] : pass.free.records) {
        // All are looked at: each that is on its way up has to be noted.
        canMove = (application == nullptr && CanStillMoveLocked(name, batch)) || canMove;
    }
    if (canMove || IsStartingLocked(pass, batch) || IsAnyRunning(pass)) {
        return true;
    }
    GRP_EVENT("noDependsList is empty, and none of already start apps are starting.");
    return false;
}

bool ApplicationManager::IsStartingLocked(StartPass& pass, StartAppInfo& batch) {
    for (size_t left = pass.started.size(); left > 0; --left) {
        const auto entry = batch.startAppResultMap.find(pass.started[pass.lastStarting]);
        if (entry != batch.startAppResultMap.end() && entry->second == AppChangeState::PROCESSING) {
            return true;
        }
        pass.lastStarting = (pass.lastStarting + 1) % pass.started.size();
    }
    return false;
}

bool ApplicationManager::IsAnyRunning(const StartPass& pass) {
    return std::any_of(pass.free.records.begin(), pass.free.records.end(), [](const auto& entry) {
        return entry.second != nullptr && entry.second->IsAppRunning();
    });
}

uint64_t ApplicationManager::Removals() const {
    MutexLock lock(mutex_);
    return removals_;
}

// A free name moves when it is asked for and untouched, when its application runs and is about to
// be popped, or when the application comes up on somebody else's request. The last is noted before
// its state is read, so that a result in between wakes the batch.
bool ApplicationManager::CanStillMoveLocked(const std::string& name, StartAppInfo& batch) {
    const auto entry = batch.startAppResultMap.find(name);
    const bool isRequested = entry != batch.startAppResultMap.end();
    if (isRequested && entry->second == AppChangeState::INIT) {
        return true;
    }
    if (!isRequested) {
        batch.onTheirWay.insert(name);
    }
    MutexLock lock(mutex_);
    const auto application = FindLocked(name);
    if (application == nullptr) {
        // Filling says what is wrong; but nobody starts a template that was not asked for.
        return !isRequested && dynamicManifests_.count(name) == 0;
    }
    const AppStateType state = application->GetAppStateType();
    if (state == AppStateType::RUNNING) {
        return true;
    }
    return !isRequested && (state == AppStateType::STARTING || state == AppStateType::RESTARTING);
}

bool ApplicationManager::FillAppInfoAndStart(StartPass& pass, StartAppInfo& batch) {
    std::vector<AppInfoForServer> toStart;
    for (auto& [name, begun] : pass.free.records) {
        if (begun != nullptr) {
            continue;
        }
        const auto application = FindApplication(name, true);
        if (application == nullptr) {
            GRP_ERROR(
                "ChangeApp failed. because StartGraph's elem=%s not in baseApplication and "
                "drivingApplication!",
                name.c_str());
            return false;
        }
        switch (batch.ClaimForStart(name)) {
            case StartAppInfo::Claim::kClaimed:
                GRP_INFO("noDependsList in startAppMap appName=%s", name.c_str());
                batch.phase.Release(name, application->GetDepends());
                toStart.push_back(*pass.requested.at(name));
                pass.started.push_back(name);
                begun = application;
                break;
            case StartAppInfo::Claim::kHandledBefore:
                begun = application;
                break;
            case StartAppInfo::Claim::kNotRequested:
                if (application->IsAppRunning()) {
                    batch.Pop(name);
                }
                break;
        }
    }
    if (!pass.free.records.empty()) {
        StartNoDependsApps(toStart, batch);
    }
    return true;
}

// Look-up and start are one critical section: a reload in between would leave the start in a record
// that nobody looks at again. From here on the record is removed like any other that ends.
ApplicationManager::StartOutcome ApplicationManager::BeginStart(const AppInfoForServer& app) {
    MutexLock lock(mutex_);
    stillToStart_.erase(app.name);
    const auto application = FindLocked(app.name);
    if (application == nullptr) {
        GRP_WARNING("ApplicationManager: FindApplication %s (no application found).",
                    app.name.c_str());
        return StartOutcome::kMissing;
    }
    if (!application->Start()) {
        return StartOutcome::kRefused;
    }
    if (application->IsAppRunning()) {
        return StartOutcome::kRunsAlready;
    }
    application->SetArguments(app.argv);
    application->SetDynamicParas(app.dynamicParas);
    beingSent_.insert(app.name);
    return StartOutcome::kAccepted;
}

// A refusal is for the batch that asked alone: the other one may have this very start under way.
void ApplicationManager::StartNoDependsApps(const std::vector<AppInfoForServer>& apps,
                                            StartAppInfo& batch) {
    GRP_WARNING("StartNoDependsApps start begin.");
    std::vector<Message::StartAppInfo> toSend;
    for (const AppInfoForServer& app : apps) {
        const Trace::Cause release(Trace::ReleaseOf(app.name));
        switch (BeginStart(app)) {
            case StartOutcome::kMissing:
                GRP_ERROR(
                    "StartApp %s failed. because start elem not in baseApplication and "
                    "drivingApplication!",
                    app.name.c_str());
                break;
            case StartOutcome::kRefused:
                GRP_ERROR("StartApp %s failed. because cannot restart in this state!",
                          app.name.c_str());
                batch.Report(app.name, AppChangeState::START_FAILED);
                break;
            case StartOutcome::kRunsAlready:
                ReportStartAppResult(app.name, AppChangeState::SUCCESS);
                break;
            case StartOutcome::kAccepted:
                toSend.push_back({app.name, app.argv, app.dynamicParas});
                GRP_WARNING("StartNoDependsApps add %s to startAppList.", app.name.c_str());
                break;
        }
    }
    if (!toSend.empty()) {
        SendStart(toSend);
    }
    GRP_WARNING("StartNoDependsApps start end.");
}

// A send that fails reaches the batch like any report: the state machine turns it into
// START_FAILED.
void ApplicationManager::SendStart(const std::vector<Message::StartAppInfo>& apps) {
    GRP_WARNING("StartNoDependsApps emAgent StartApp begin.");
    Trace::Sent(OptionType::START, apps);
    if (const uint32_t result = ProcMgrAgent::GetInstance().StartApp(apps);
        result != AgentResult::kSuccess) {
        Trace::NotSent(OptionType::START, apps, result);
        for (const Message::StartAppInfo& app : apps) {
            GRP_ERROR("StartApp %s failed, because ProcMgrAgent StartApp failed", app.name.c_str());
            ReportTerminatedNormalFromProcMgr(app.name);
        }
    }
    GRP_WARNING("StartNoDependsApps emAgent StartApp end.");
    std::vector<std::string> names;
    names.reserve(apps.size());
    for (const Message::StartAppInfo& app : apps) {
        names.push_back(app.name);
    }
    EndSend(names);
}

// Whether nobody wants a process of that name.
bool ApplicationManager::MustBeDownLocked(const std::string& name) const {
    const auto application = FindLocked(name);
    if (application == nullptr) {
        return true;
    }
    switch (application->GetAppStateType()) {
        case AppStateType::INITSTATE:
        case AppStateType::TERMINATING:
        case AppStateType::TERMINATED:
            return true;
        default:
            return false;
    }
}

// Requests leave with no lock held, so a termination that was let in after a start may have reached
// the process manager before it, and found nothing to end. What came up behind it is ended here.
void ApplicationManager::EndSend(const std::vector<std::string>& names) {
    std::vector<Message::TermAppInfo> toEnd;
    {
        MutexLock lock(mutex_);
        for (const std::string& name : names) {
            beingSent_.erase(beingSent_.find(name));
            if (overtaken_.count(name) == 0) {
                continue;
            }
            if (beingSent_.count(name) == 0) {
                overtaken_.erase(name);
            }
            if (MustBeDownLocked(name)) {
                toEnd.push_back({name});
            }
        }
    }
    for (const Message::TermAppInfo& app : toEnd) {
        GRP_WARNING("ApplicationManager: %s was started behind its termination, terminate again.",
                    app.name.c_str());
    }
    if (!toEnd.empty()) {
        Trace::Sent(OptionType::TERM, toEnd);
        (void)ProcMgrAgent::GetInstance().TermApp(toEnd);  // nobody waits for this one
    }
}

// The reports are made before the wait and with no lock held: each takes both batches' mutexes.
bool ApplicationManager::PollAndWait(const StartPass& pass, StartAppInfo& batch,
                                     TimePoint deadline) {
    for (const std::string& name : CheckProcessCompleted(pass, batch)) {
        ReportStartAppResult(name, AppChangeState::SUCCESS);
    }
    MutexLock lock(batch.mutex);
    while (!batch.notified) {
        if (!batch.condition.WaitUntil(batch.mutex, deadline) && !batch.notified) {
            GRP_ERROR("StartApp failed. timeout=%u(ms)", batch.timeout.load());
            batch.phase.TimeOut();
            return false;
        }
    }
    batch.notified = false;
    return true;
}

std::vector<std::string> ApplicationManager::CheckProcessCompleted(const StartPass& pass,
                                                                   StartAppInfo& batch) {
    std::vector<std::string> running;
    MutexLock lock(batch.mutex);
    for (const auto& [name, begun] : pass.free.records) {
        if (begun == nullptr ? IsRunning(name) : begun->IsAppRunning()) {
            batch.PopLocked(name);
            GRP_EVENT("App %s in noDependsList popped success, need to report success again.",
                      name.c_str());
            running.push_back(name);
        }
    }
    return running;
}

bool ApplicationManager::IsRunning(const std::string& name) {
    MutexLock lock(mutex_);
    const auto application = FindLocked(name);
    return application != nullptr && application->IsAppRunning();
}

void ApplicationManager::ReportStartAppResult(const std::string& name, AppChangeState state) {
    GRP_WARNING("ApplicationManager: ReportStartAppResult: appName=%s,status=%s.", name.c_str(),
                NameOf(state).c_str());
    baseStart_.Report(name, state);
    changeStart_.Report(name, state);
}

Milliseconds ApplicationManager::BatchWait(int32_t timeoutMs, uint32_t ownTimeoutMs) const {
    const Milliseconds wait = EffectiveWait(timeoutMs);
    return IsLongRunMode() ? std::max(wait, Milliseconds(ownTimeoutMs)) : wait;
}

/// A base start in progress, given back on every way out.
class ApplicationManager::BaseStart {
public:
    explicit BaseStart(ApplicationManager& manager) : manager_(manager) {
        if (Begin()) {
            manager_.baseStart_.Reset();  // or names that a reload has dropped would count for ever
        }
    }
    ~BaseStart() {
        MutexLock lock(manager_.mutex_);
        --manager_.baseStarts_;
        if (manager_.isTransitionFinished_) {
            manager_.RemoveEndedLocked();
        }
    }
    BaseStart(const BaseStart&) = delete;
    BaseStart& operator=(const BaseStart&) = delete;

private:
    /// Whether it is the only one.
    bool Begin() {
        MutexLock lock(manager_.mutex_);
        return ++manager_.baseStarts_ == 1;
    }

    ApplicationManager& manager_;
};

std::vector<AppInfoForServer> ApplicationManager::BaseApplicationsToStart() const {
    MutexLock lock(mutex_);
    std::vector<AppInfoForServer> apps;
    for (const auto& [name, application] : baseApplications_) {
        apps.push_back({name, application->GetArguments(), {}});
    }
    return apps;
}

bool ApplicationManager::StartBaseApplication() {
    GRP_WARNING("ApplicationManager: StartBaseApplication begin.");
    const BaseStart keepsReloadsOut(*this);
    const std::vector<AppInfoForServer> apps = BaseApplicationsToStart();
    const Milliseconds wait = BatchWait(kBaseStartTimeout, baseStart_.timeout);
    if (!StartApps(apps, baseStart_, wait)) {
        GRP_ERROR("ApplicationManager: StartBaseApplication error.");
        baseStart_.MarkLeft();
    } else if (baseStart_.HasUntouched()) {
        baseStart_.MarkLeft();
    }
    GRP_WARNING("ApplicationManager: StartBaseApplication end.");
    const bool isAllUp = CheckBaseApplicationResult();
    baseStart_.phase.End(isAllUp);
    return isAllUp;
}

bool ApplicationManager::CheckBaseApplicationResult() const {
    MutexLock lock(baseStart_.mutex);
    bool isAllUp = true;
    for (const auto& [name, state] : baseStart_.startAppResultMap) {
        if (state != AppChangeState::SUCCESS) {
            GRP_ERROR("Base application start failed. (Name=%s,result=%s)", name.c_str(),
                      NameOf(state).c_str());
            isAllUp = false;
        }
    }
    return isAllUp;
}

}  // namespace ProcMgr
