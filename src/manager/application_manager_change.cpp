// Change sets: terminate, then start, then restart, and answer what has become of each application.

#include <utility>

#include "src/agent/procmgr_agent.h"
#include "src/common/logging.h"
#include "src/manager/application_manager.h"

namespace ProcMgr {

namespace {

/// The list without duplicates: of a name listed twice the last entry wins.
std::vector<AppInfoForServer> LastOfEach(const std::vector<AppInfoForServer>& apps) {
    std::map<std::string, size_t> places;
    for (size_t place = 0; place < apps.size(); ++place) {
        places[apps[place].name] = place;
    }
    std::vector<AppInfoForServer> last;
    for (size_t place = 0; place < apps.size(); ++place) {
        if (places.at(apps[place].name) == place) {
            last.push_back(apps[place]);
        }
    }
    return last;
}

}  // namespace

/// A change set, if it is let in: until its end no other one is, and no reload. Its claim is given
/// back on every way out, after its results have been read: the next one empties the batches.
class ApplicationManager::ChangeSet {
public:
    ChangeSet(ApplicationManager& manager, const std::vector<AppInfoForServer>& start,
              const std::vector<AppInfoForServer>& restart)
        : manager_(manager), isLetIn_(manager.ClaimChange(NamesOf(start), NamesOf(restart))) {}
    ~ChangeSet() {
        if (isLetIn_) {
            manager_.ReleaseChange();
        }
    }
    ChangeSet(const ChangeSet&) = delete;
    ChangeSet& operator=(const ChangeSet&) = delete;

    bool IsLetIn() const { return isLetIn_; }

private:
    static Names NamesOf(const std::vector<AppInfoForServer>& apps) {
        Names names;
        for (const AppInfoForServer& app : apps) {
            names.insert(app.name);
        }
        return names;
    }

    ApplicationManager& manager_;
    bool isLetIn_;
};

bool ApplicationManager::ClaimChange(Names toStart, Names toRestart) {
    MutexLock lock(mutex_);
    if (!isTransitionFinished_) {
        GRP_ERROR("ChangeApp failed, because it is in transition.");
        return false;
    }
    isTransitionFinished_ = false;
    stillToStart_.swap(toStart);
    stillToRestart_.swap(toRestart);
    return true;
}

// What the change set kept or made without getting it up goes now: removals were skipped meanwhile.
void ApplicationManager::ReleaseChange() {
    MutexLock lock(mutex_);
    isTransitionFinished_ = true;
    stillToStart_.clear();
    stillToRestart_.clear();
    RemoveEndedLocked();
}

bool ApplicationManager::ChangeApp(const std::vector<AppInfoForServer>& term,
                                   const std::vector<AppInfoForServer>& start,
                                   const std::vector<AppInfoForServer>& restart,
                                   std::vector<AppChangeInfo>& results, int32_t timeoutMs) {
    GRP_EVENT("ChangeApp begin. (term=%zu,start=%zu,restart=%zu,timeout=%d)", term.size(),
              start.size(), restart.size(), timeoutMs);
    const ChangeSet changeSet(*this, start, restart);
    if (!changeSet.IsLetIn()) {
        return false;
    }
    ResetChangeAppInfo(timeoutMs);
    const std::vector<AppInfoForServer> toStart = LastOfEach(start);
    const std::vector<AppInfoForServer> toRestart = LastOfEach(restart);
    if (RunPhases(term, toStart, toRestart)) {
        GRP_EVENT("ApplicationManager: ChangeApp end.");
    }
    // A result may still come behind the deadline of its phase. Then nothing has failed, but what
    // the later phases were to do has not been done.
    const size_t listed = LastOfEach(term).size() + toStart.size() + toRestart.size();
    const size_t before = results.size();
    return MergeChangeAppResult(results) && results.size() - before == listed;
}

void ApplicationManager::ResetChangeAppInfo(int32_t timeoutMs) {
    if (timeoutMs > 0) {
        changeTimeout_ = timeoutMs;
    }
    changeStart_.Reset();
    term_.Reset();
    restart_.Reset();
}

// A phase that fails skips the later ones.
bool ApplicationManager::RunPhases(const std::vector<AppInfoForServer>& term,
                                   const std::vector<AppInfoForServer>& start,
                                   const std::vector<AppInfoForServer>& restart) {
    if (!term.empty()) {
        const bool isEnded = TermApps(term);
        if (!isEnded) {
            MarkLeftAppToTermFailed();
        }
        term_.phase.End(isEnded);
        if (!isEnded) {
            return false;
        }
    }
    if (!start.empty() && !StartChangedApps(start)) {
        return false;
    }
    GRP_WARNING("ApplicationManager: ChangeAppState restart begin.");
    if (!restart.empty()) {
        const bool isEnded = RestartApps(restart);
        if (!isEnded) {
            MarkLeftAppToRestartFailed();
        }
        restart_.phase.End(isEnded);
        if (!isEnded) {
            return false;
        }
    }
    GRP_WARNING("ApplicationManager: ChangeAppState restart end.");
    return true;
}

// A start that ends well may leave applications untouched: unknown ones, and those whose
// dependencies cannot come up.
bool ApplicationManager::StartChangedApps(const std::vector<AppInfoForServer>& apps) {
    const bool isEnded =
        StartApps(apps, changeStart_, BatchWait(changeTimeout_, changeStart_.timeout));
    if (!isEnded || changeStart_.HasUntouched()) {
        changeStart_.MarkLeft();
    }
    changeStart_.phase.End(isEnded);
    return isEnded;
}

bool ApplicationManager::RestartApps(const std::vector<AppInfoForServer>& apps) {
    const Milliseconds wait = BatchWait(changeTimeout_, restart_.timeout);
    restart_.phase.Begin(apps.size(), wait);
    restart_.Request(apps);
    const TimePoint deadline = Now() + wait;
    std::vector<Message::RestartAppInfo> toSend;
    for (const AppInfoForServer& app : apps) {
        restart_.phase.Release(app.name, {});
        const Trace::Cause release(Trace::ReleaseOf(app.name));
        switch (BeginRestart(app)) {
            case RestartOutcome::kMissing:
                GRP_ERROR(
                    "RestartApp %s failed. because restart elem not in baseApplication and "
                    "drivingApplication!",
                    app.name.c_str());
                ReportRestartAppResult(app.name, AppChangeState::RESTART_FAILED);
                break;
            case RestartOutcome::kRefused:
                GRP_ERROR("RestartApp %s failed. because cannot restart in this state!",
                          app.name.c_str());
                ReportRestartAppResult(app.name, AppChangeState::RESTART_FAILED);
                break;
            case RestartOutcome::kAccepted:
                toSend.push_back({app.name, app.argv, app.dynamicParas});
                break;
        }
    }
    if (!toSend.empty()) {
        Trace::Sent(OptionType::RESTART, toSend);
        const uint32_t result = ProcMgrAgent::GetInstance().RestartApp(toSend);
        Trace::NotSent(OptionType::RESTART, toSend, result);
        GRP_WARNING("RestartApps done. (return=%u)", result);
    }
    if (!restart_.WaitUntilDone(deadline)) {
        GRP_ERROR("RestartApps failed time-out");
        restart_.phase.TimeOut();
        return false;
    }
    return true;
}

// From here on the record is removed like any other that ends.
ApplicationManager::RestartOutcome ApplicationManager::BeginRestart(const AppInfoForServer& app) {
    MutexLock lock(mutex_);
    stillToRestart_.erase(app.name);
    const auto application = FindOrCreateLocked(app.name, true);
    if (application == nullptr) {
        return RestartOutcome::kMissing;
    }
    if (!application->Restart()) {
        return RestartOutcome::kRefused;
    }
    application->SetArguments(app.argv);
    application->SetDynamicParas(app.dynamicParas);
    return RestartOutcome::kAccepted;
}

void ApplicationManager::MarkLeftAppToTermFailed() {
    term_.MarkLeft();
}

void ApplicationManager::MarkLeftAppToRestartFailed() {
    restart_.MarkLeft();
}

bool ApplicationManager::MergeChangeAppResult(std::vector<AppChangeInfo>& results) const {
    const bool isStarted = changeStart_.AppendTo(results);
    const bool isTerminated = term_.AppendTo(results);
    const bool isRestarted = restart_.AppendTo(results);
    return isStarted && isTerminated && isRestarted;
}

}  // namespace ProcMgr
