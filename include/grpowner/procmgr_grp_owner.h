#pragma once
// The interface of the group owner: what a daemon includes to become the owner of one group of
// applications.
//
// Expected order of calls: GetInstance, GrpOwnerConfig, SubscribeSystemState and SubscribeAppState,
// GrpOwnerEnable, ReportSelfStateToPm, StartAutoStartApp; later any other; at the end
// GrpOwnerDisable. Configuration, subscription, enabling and disabling belong to one thread; all
// else may be called on any. Every operation that returns int answers 0 for success.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "grpowner/enumerations.h"
#include "grpowner/export.h"

namespace ProcMgr {

struct GrpOwnerCfg {
    std::string startupEntry;     // path of the start configuration; empty: "STARTUP_ENTRY_PATH"
    std::string spareName;        // kept, not read
    std::string ssResFileName;    // virtual file on which the system-state manager commands
    bool enableEvent = false;     // ReportEventFromApp is allowed
    bool enableSsServer = false;  // requests of the system-state manager are served
    uint64_t logOutput = 0;       // kept, not read
};

struct ApplicationInfo {
    uint32_t nodeType = 0;
};

/// Called with the system state and its time-out in milliseconds; whether the state was accepted.
using SystemStateCallback = std::function<bool(int state, int timeout)>;

/// Called for every change of an application, on whichever thread made it. It must not call back
/// into the group owner's heartbeat paths.
using AppStateCallback =
    std::function<bool(const std::string& name, int pid, AppReportState state)>;

class GRPOWNER_EXPORT ProcMgrGrpOwner {
public:
    /// The one instance, built on first use.
    static ProcMgrGrpOwner& GetInstance();
    virtual ~ProcMgrGrpOwner() = default;

    /// Keeps the configuration. Always 0.
    virtual int GrpOwnerConfig(const GrpOwnerCfg& cfg) = 0;

    /// Connects to the process manager and reads the start configuration. 1 when that fails.
    virtual int GrpOwnerEnable() = 0;

    /// Ends the heartbeats, sent and checked. Always 0.
    virtual int GrpOwnerDisable() = 0;

    /// Starts the base applications in dependency order and waits for them.
    /// @return true when all of them are up
    virtual bool StartAutoStartApp() = 0;

    virtual bool CheckAppExisted(const std::string& name) const = 0;

    /// 1 for an unknown application; the record is unchanged then.
    virtual int QueryAppInfo(const std::string& name, ApplicationInfo& out) const = 0;

    /// Passes on what an application says of itself: SWITCH_ON or SWITCH_OFF.
    virtual int ReportAppStateFromApp(const std::string& name, int pid,
                                      AppReportState state) const = 0;

    /// Accepts and discards an event; 1 when events are not enabled.
    virtual int ReportEventFromApp(const unsigned char* data, unsigned int length) const = 0;

    /// To be called before enabling; a later subscription replaces an earlier one. Always 0.
    virtual int SubscribeSystemState(const SystemStateCallback& callback) = 0;
    virtual int SubscribeAppState(const AppStateCallback& callback) = 0;

    /// Tells the process manager whether the owner itself is well. 0: it was told.
    virtual int ReportSelfStateToPm(bool ok) = 0;

    /// Terminates, then starts, then restarts; each of the three waits 4500 ms at most. Refused
    /// while another change set or a reload runs.
    /// @param results gains an entry for each application: whether it succeeded
    /// @return 1 when one of them failed; the results are untouched then
    virtual int ChangeAppState(const std::vector<std::string>& term,
                               const std::vector<std::string>& start,
                               const std::vector<std::string>& restart,
                               std::map<std::string, bool>& results) = 0;

    /// Restarts an application when its policy and limiter allow. Always 0.
    virtual int GrpOwnerRestartApp(const std::string& name) = 0;
};

}  // namespace ProcMgr
