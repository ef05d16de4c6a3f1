#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "platform/manifest_service.h"
#include "src/agent/messages.h"
#include "src/application/application.h"
#include "src/common/sync.h"
#include "src/manager/free_records.h"
#include "src/manager/restart_batch.h"
#include "src/manager/start_batch.h"
#include "src/manager/term_batch.h"

namespace ProcMgr {

/// Owns the records of the group's applications and the batches that wait for them.
///
/// Called by the host's threads, by those of requests and by those of reports. The manager's mutex
/// guards the tables and the flags; each batch has its own, which is taken before it, never after.
/// Calls of the agent and reports to a batch are made with no lock held.
///
/// One source file a concern: configuration and reload, start, termination, change sets with their
/// restarts, results and reports, query.
class ApplicationManager {
public:
    /// The one of the process. Never destroyed: service threads may still call it at exit.
    static ApplicationManager& GetInstance();

    ApplicationManager();
    ~ApplicationManager() = default;
    ApplicationManager(const ApplicationManager&) = delete;
    ApplicationManager& operator=(const ApplicationManager&) = delete;

    // --- Configuration ---------------------------------------------------------------------------

    /// Takes the path of the start configuration from "STARTUP_ENTRY_PATH".
    void InitStartupPathByEnv() EXCLUDES(mutex_);
    /// Sets the time-outs by "DATAMASTER_RUN_MODE" and readies the batches.
    void InitAppCond() EXCLUDES(mutex_);
    /// Loads the start configuration into the process manager and into the tables.
    /// @param entry its path; empty: by the environment, with match data
    bool ApplicationMgrInit(const std::string& entry) EXCLUDES(mutex_);
    /// Reads the start configuration again; refused while anything else is in progress.
    bool ReloadCfg() EXCLUDES(mutex_);
    /// Replaces the tables; what runs keeps its state, pid and restart count.
    void UpdateApplicationList(const std::vector<ApplicationManifest>& manifests) EXCLUDES(mutex_);

    /// Empty when there is none.
    /// @param create make a record from the template of that name when there is none
    std::shared_ptr<Application> FindApplication(const std::string& name, bool create)
        EXCLUDES(mutex_);
    /// @throw std::out_of_range when there is no template of that name
    std::shared_ptr<Application> CreateDynamicApplication(const std::string& name) EXCLUDES(mutex_);
    /// Drops a record that was made from a template, or that a reload left over, once it is down.
    void RemoveDynamicApplication(const std::string& name) EXCLUDES(mutex_);

    // --- Start -----------------------------------------------------------------------------------

    /// Starts the base applications and waits for them; whether all of them are up.
    bool StartBaseApplication() EXCLUDES(mutex_);
    bool CheckBaseApplicationResult() const;
    /// Starts the applications in dependency order and waits, `wait` at most.
    /// @return false on a graph error or the time-out
    bool StartApps(const std::vector<AppInfoForServer>& apps, StartAppInfo& batch,
                   Milliseconds wait);
    void ReportStartAppResult(const std::string& name, AppChangeState state);

    // --- Change sets -----------------------------------------------------------------------------

    /// Terminates, then starts, then restarts, each in dependency order and each with a deadline of
    /// its own. A phase that fails skips the later ones. Refused while another change set or a
    /// reload runs.
    /// @param results gains a line for each application whose phase was reached
    /// @param timeoutMs milliseconds for each phase; 0 or less: as in the change set before
    /// @return whether every application succeeded
    bool ChangeApp(const std::vector<AppInfoForServer>& term,
                   const std::vector<AppInfoForServer>& start,
                   const std::vector<AppInfoForServer>& restart,
                   std::vector<AppChangeInfo>& results, int32_t timeoutMs) EXCLUDES(mutex_);

    // --- Results and reports ---------------------------------------------------------------------

    /// Hands a final result to the batch that waits for it, by the state before the report.
    void ReportAppResult(const std::string& name, AppChangeState state, AppStateType before);
    void ReportTermAppResult(const std::string& name, AppChangeState state);
    void ReportRestartAppResult(const std::string& name, AppChangeState state);

    void ReportRunningNormalStartFromProcMgr(const std::string& name, uint32_t pid);
    void ReportRunningNormalReStartFromProcMgr(const std::string& name, uint32_t pid);
    void ReportRunningAbnormalTermTimeoutFromProcMgr(const std::string& name);
    void ReportTerminatedNormalFromProcMgr(const std::string& name);
    void ReportTerminatedAbnormalFromProcMgr(const std::string& name,
                                             Message::AppAbnormalExitReason reason);
    void ReportRunningNormalStartFromApp(const std::string& name);

    /// Restarts an application that has ended by itself, when policy and limiter allow; waits for
    /// nothing.
    void CheckAndRestartApp(const std::string& name) EXCLUDES(mutex_);

    // --- Query -----------------------------------------------------------------------------------

    /// Asks the process manager for the states and waits for its answer.
    /// @param states gains a line for each name, unknown ones first
    /// @param timeoutMs milliseconds, shortened as for a change set
    /// @return false when it could not be asked or gave no answer in time
    bool QueryAppState(const std::vector<std::string>& names, std::vector<AppStatus>& states,
                       int32_t timeoutMs) EXCLUDES(mutex_);
    /// Appends the base names, then the driving ones, live instances of templates among them.
    /// Always true.
    bool QueryAppList(std::vector<std::string>& names) const EXCLUDES(mutex_);
    /// Whether each name is an application or a template and each option an OptionType.
    bool GrpOwnerVerifyApp(const std::map<std::string, uint32_t>& options) const EXCLUDES(mutex_);
    /// Writes all that is known into the log.
    void ApplicationDump() const EXCLUDES(mutex_);

    // As of now, in name order.
    std::vector<std::string> BaseNames() const EXCLUDES(mutex_);
    std::vector<std::shared_ptr<Application>> DrivingApplications() const EXCLUDES(mutex_);

    /// Stores what the process manager says of an application; false when there is none.
    bool SetDetailStatus(const std::string& name, uint32_t status) EXCLUDES(mutex_);
    /// Wakes the thread that waits for the process manager's answer to a state query.
    static void NotifyQueryAppState();

private:
    using Applications = std::map<std::string, std::shared_ptr<Application>>;
    using Names = std::set<std::string>;

    /// The manifests of a configuration, sorted.
    struct Tables {
        Applications base;
        Applications driving;
        std::map<std::string, ApplicationManifest> dynamicManifests;
    };
    static Tables SortManifests(const std::vector<ApplicationManifest>& manifests);

    // Configuration.
    std::string StartEntryPath() const EXCLUDES(mutex_);
    class Reload;
    bool ReloadFrom(const std::string& path);
    bool AddAndClaimIfIdle(Tables tables) EXCLUDES(mutex_);
    void CarryOverLocked(Tables& tables) REQUIRES(mutex_);
    void KeepDependsLocked() REQUIRES(mutex_);
    void ForgetDependsLocked(const std::string& name) REQUIRES(mutex_);
    static Application* FindIn(const Tables& tables, const std::string& name);
    std::shared_ptr<Application> FindLocked(const std::string& name) const REQUIRES(mutex_);
    std::shared_ptr<Application> FindOrCreateLocked(const std::string& name, bool create)
        REQUIRES(mutex_);
    std::shared_ptr<Application> CreateDynamicLocked(const std::string& name) REQUIRES(mutex_);
    bool HasEndedForGoodLocked(const std::string& name) const REQUIRES(mutex_);
    void RemoveLocked(const std::string& name) REQUIRES(mutex_);
    void RemoveEndedLocked() REQUIRES(mutex_);

    // Start.
    class BaseStart;
    struct StartPass;
    std::vector<AppInfoForServer> BaseApplicationsToStart() const EXCLUDES(mutex_);
    bool NeedContinueStart(StartPass& pass, StartAppInfo& batch);
    static bool IsStartingLocked(StartPass& pass, StartAppInfo& batch) REQUIRES(batch.mutex);
    static bool IsAnyRunning(const StartPass& pass);
    uint64_t Removals() const EXCLUDES(mutex_);
    bool CanStillMoveLocked(const std::string& name, StartAppInfo& batch) REQUIRES(batch.mutex)
        EXCLUDES(mutex_);
    bool FillAppInfoAndStart(StartPass& pass, StartAppInfo& batch);
    enum class StartOutcome { kMissing, kRefused, kRunsAlready, kAccepted };
    StartOutcome BeginStart(const AppInfoForServer& app) EXCLUDES(mutex_);
    void StartNoDependsApps(const std::vector<AppInfoForServer>& apps, StartAppInfo& batch);
    void SendStart(const std::vector<Message::StartAppInfo>& apps);
    void EndSend(const std::vector<std::string>& names) EXCLUDES(mutex_);
    bool MustBeDownLocked(const std::string& name) const REQUIRES(mutex_);
    std::vector<std::string> CheckProcessCompleted(const StartPass& pass, StartAppInfo& batch);
    bool PollAndWait(const StartPass& pass, StartAppInfo& batch, TimePoint deadline);
    bool IsRunning(const std::string& name) EXCLUDES(mutex_);
    Milliseconds BatchWait(int32_t timeoutMs, uint32_t ownTimeoutMs) const;

    // Change sets.
    class ChangeSet;
    bool ClaimChange(Names toStart, Names toRestart) EXCLUDES(mutex_);
    void ReleaseChange() EXCLUDES(mutex_);
    void ResetChangeAppInfo(int32_t timeoutMs);
    bool RunPhases(const std::vector<AppInfoForServer>& term,
                   const std::vector<AppInfoForServer>& start,
                   const std::vector<AppInfoForServer>& restart);
    bool StartChangedApps(const std::vector<AppInfoForServer>& apps);
    bool TermApps(const std::vector<AppInfoForServer>& apps);
    using Dependants = std::map<std::string, Names>;
    Dependants DependantsAmong(const std::vector<AppInfoForServer>& apps) EXCLUDES(mutex_);
    void ReleaseNew(const FreeRecords& free, const Dependants& dependants);
    bool MakeTermGraph(const std::vector<AppInfoForServer>& apps);
    void TermNoDependsApps(FreeRecords& free);
    enum class TermOutcome { kMissing, kRefused, kDownAlready, kAccepted };
    /// @param application its record as of so many removals; looked up when it is none any more
    TermOutcome BeginTerm(const std::string& name, std::shared_ptr<Application>& application,
                          uint64_t removals) EXCLUDES(mutex_);
    bool RestartApps(const std::vector<AppInfoForServer>& apps);
    enum class RestartOutcome { kMissing, kRefused, kAccepted };
    RestartOutcome BeginRestart(const AppInfoForServer& app) EXCLUDES(mutex_);
    void MarkLeftAppToTermFailed();
    void MarkLeftAppToRestartFailed();
    bool MergeChangeAppResult(std::vector<AppChangeInfo>& results) const;

    // Query.
    AppStatus StatusOf(const std::string& name) EXCLUDES(mutex_);

    // Reports.
    template <typename Report>
    void ApplyReport(const std::string& name, Report report) EXCLUDES(mutex_);

    mutable Mutex mutex_;
    Applications baseApplications_ GUARDED_BY(mutex_);
    Applications drivingApplications_ GUARDED_BY(mutex_);
    std::map<std::string, ApplicationManifest> dynamicManifests_ GUARDED_BY(mutex_);
    bool isTransitionFinished_ GUARDED_BY(mutex_) = true;
    bool isReloading_ GUARDED_BY(mutex_) = false;
    uint32_t baseStarts_ GUARDED_BY(mutex_) = 0;  // base starts in progress; they keep reloads out
    // What the running change set has not begun to start or to restart yet; kept from removal.
    Names stillToStart_ GUARDED_BY(mutex_);
    Names stillToRestart_ GUARDED_BY(mutex_);
    // Let in for a start, with the request still on its way to the process manager; and those of
    // them that a termination may have overtaken there.
    std::multiset<std::string> beingSent_ GUARDED_BY(mutex_);
    Names overtaken_ GUARDED_BY(mutex_);
    // Ended abnormally, with the decision whether they come back still to be made; and whether a
    // termination wants them to stay down.
    std::map<std::string, bool> endBeingHandled_ GUARDED_BY(mutex_);
    std::string startEntryPath_ GUARDED_BY(mutex_);
    // Records in the driving table that go when they have ended: made from a template, or left over
    // by a reload.
    Names removable_ GUARDED_BY(mutex_);
    uint64_t removals_ GUARDED_BY(mutex_) = 0;  // how often a record has gone or been replaced
    // Among the removable ones, those whose dependencies only we still keep in the dependency map.
    Names vanished_ GUARDED_BY(mutex_);
    // Those that ended during a reload: their dependencies go when it is over.
    Names endedInReload_ GUARDED_BY(mutex_);

    // Each synchronises itself.
    StartAppInfo baseStart_;
    StartAppInfo changeStart_;
    TermAppInfo term_;
    RestartAppsInfo restart_;
    std::atomic<int32_t> changeTimeout_{0};  // milliseconds
};

}  // namespace ProcMgr
