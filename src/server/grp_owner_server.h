#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "grpowner/procmgr_grp_owner.h"
#include "src/agent/messages.h"
#include "src/application/application.h"
#include "src/common/sync.h"

namespace ProcMgr {

/// The coordinator: turns requests, reports and notices into calls on the application manager and
/// tells the host's subscribers.
///
/// Reports of the process manager and query answers arrive on the pipe service's handling thread,
/// reports of applications on the host's threads, heartbeat notices on the heartbeat service's,
/// requests on the platform's threads, several at a time. It takes no lock on these paths but
/// leaves around a subscriber's slot; the manager serialises changes.
class GrpOwnerServer {
public:
    /// Applies a batch of the process manager's reports, in its order.
    void ReportAppStateFromProcMgr(const std::vector<Message::AppStateInfo>& reports);

    /// Stores the detail states of a query's answer and wakes the waiting query.
    void QueryAppStateRespFromProcMgr(const std::map<std::string, uint32_t>& details);

    /// Applies what an application says of itself; its own stop report changes no state.
    int ReportAppStateFromApp(const std::string& name, int pid, AppReportState state) const;

    // --- Requests of the system-state manager ----------------------------------------------------

    /// Announces the terminations to the subscriber, carries the change set out and waits for it.
    /// @param timeout milliseconds for each of its phases
    /// @return whether every application succeeded
    bool ChangeApp(const std::vector<AppInfoForServer>& term,
                   const std::vector<AppInfoForServer>& start,
                   const std::vector<AppInfoForServer>& restart,
                   std::vector<AppChangeInfo>& results, int timeout);

    /// Asks the host's subscriber, who alone knows what a system state means.
    /// @return its answer, false without one or when it throws
    bool SetSystemState(int state, int timeout);

    // Each is the manager's operation of that name.
    bool QueryAppState(const std::vector<std::string>& names, std::vector<AppStatus>& states,
                       int timeout);
    bool QueryAppList(std::vector<std::string>& names);
    bool GrpOwnerVerifyApp(const std::map<std::string, unsigned int>& changes);
    bool ReloadCfg();
    bool ApplicationDump();  // always true

    /// Stops the driving applications that are up, then, when that has succeeded, the base ones;
    /// waits for all of it. No subscriber is told beforehand.
    ///
    /// While a change set or a reload runs, the first pass of a phase is refused and the next one,
    /// which has nothing left to do, succeeds: who has to know asks for the states afterwards.
    bool StopAllApp();

    // --- What the host asks for ------------------------------------------------------------------

    /// Accepts and discards the event. Always 0.
    int GrpOwnerReportEvent(const unsigned char* data, unsigned int length) const;

    /// Empty, with a line, for an unknown name.
    std::shared_ptr<Application> FindApp(const std::string& name) const;

    /// To be set before enabling.
    void SetSystemStateCallback(SystemStateCallback callback);
    static void SetAppStateCallback(AppStateCallback callback);

    /// Logs a change and calls the subscriber with no lock held; what it throws stops here, so that
    /// the change itself is still applied.
    /// @return the subscriber's answer, false without one or when it throws
    static bool NotifyAppState(const std::string& name, int pid, AppReportState state);

    /// The name of a report's type; "Unknown" beyond the abnormal exit.
    std::string GetAppStateFromProcMgrName(Message::ReportAppStateType type) const;

    /// The callback of the heartbeat service, which takes no exception. Status 1: lost, 0: back
    /// again.
    static int HeartBeatNotify(const char* name, size_t nameLength, unsigned pid, int status);

private:
    bool StopDrivingApp() const;
    bool StopBaseApp() const;
    void ApplyReport(const Message::AppStateInfo& report);
    void ApplyStart(const Message::AppStateInfo& report);
    void ApplyRestart(const Message::AppStateInfo& report, const Application& application);
    void ApplyNormalExit(const Message::AppStateInfo& report, const Application& application);
    void ApplyAbnormalExit(const Message::AppStateInfo& report, const Application& application);
    static void ApplyHeartBeat(const std::string& name, int pid, AppReportState state);
    static void ConfirmStart(const std::string& name);
    static void RegisterAppHeartBeatCheck(const Application& application);
    static void UnregisterAppHeartBeatCheck(const Application& application);
    static void UpdateHeartBeatLostApps(const std::string& name, int pid, AppReportState state);

    Mutex systemStateMutex_;  // a leaf
    SystemStateCallback systemStateCallback_ GUARDED_BY(systemStateMutex_);
};

}  // namespace ProcMgr
