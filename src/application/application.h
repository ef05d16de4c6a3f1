#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "grpowner/enumerations.h"
#include "platform/manifest_service.h"
#include "src/application/timer.h"
#include "src/common/sync.h"

namespace ProcMgr {

class ApplicationState;

/// The record of one managed application: what its manifest says, what changes at run time, its
/// current state and its restart limiter.
///
/// Owned by the manager through a shared pointer and used by the threads of requests and reports.
/// The mutex guards the state object: every state query and state operation holds it for its whole
/// duration. State objects call back only into operations that do not take it.
class Application {
public:
    /// @param name replaces the manifest's name when it is not empty
    Application(const ApplicationManifest& manifest, const std::string& name);
    /// Nobody else may use `other` meanwhile. May throw: the new record needs a new state object.
    Application(Application&& other);  // NOLINT(performance-noexcept-move-constructor)
    ~Application();

    // Plain accessors, without the mutex.
    const std::string& GetAppName() const { return appName_; }
    int32_t GetPid() const { return pid_.load(); }
    void SetPid(int32_t pid) { pid_.store(pid); }
    std::vector<std::string> GetArguments() const;
    void SetArguments(const std::vector<std::string>& arguments);
    DynamicParas GetDynamicParas() const;
    void SetDynamicParas(const DynamicParas& dynamicParas);
    uint32_t GetTermTimeOut() const { return manifest_.GetTermTimeOut(); }
    const std::string& GetRestart() const { return manifest_.GetRestart(); }
    bool GetIsRosNode() const { return manifest_.GetIsRosNode(); }
    bool GetIsReporting() const { return manifest_.GetIsReporting(); }
    bool GetHeartBeatSwitch() const { return manifest_.GetHeartBeatSwitch(); }
    uint32_t GetRestartCount() const { return restartCount_.load(); }
    void SetRestartCount(uint32_t count) { restartCount_.store(count); }
    int32_t GetNodeType() const { return manifest_.GetNodeType(); }
    const std::set<std::string>& GetDepends() const { return manifest_.GetDependList(); }
    uint32_t GetGid() const { return manifest_.GetGid(); }
    uint32_t GetDetailStatus() const { return detailStatus_.load(); }
    void SetDetailStatus(uint32_t status) { detailStatus_.store(status); }

    // State queries.
    AppStateType GetAppStateType() const EXCLUDES(mutex_);
    bool IsAppInitializing() const;
    bool IsAppRunning() const;
    bool IsAppTerminated() const;

    // State operations: forwarded to the current state object. A report stores the state type
    // before it into `before`; PROCESSING means that no batch has anything to record.
    bool Start() EXCLUDES(mutex_);
    bool Term() EXCLUDES(mutex_);
    /// @param after the state that it has left behind
    bool TermTo(AppStateType& after) EXCLUDES(mutex_);
    bool Restart() EXCLUDES(mutex_);
    AppChangeState ReportRunningNormalStartFromProcMgr(AppStateType& before) EXCLUDES(mutex_);
    AppChangeState ReportRunningAbnormalTermTimeoutFromProcMgr(AppStateType& before)
        EXCLUDES(mutex_);
    AppChangeState ReportRunningNormalReStartFromProcMgr(AppStateType& before) EXCLUDES(mutex_);
    AppChangeState ReportTerminatedNormalFromProcMgr(AppStateType& before) EXCLUDES(mutex_);
    AppChangeState ReportTerminatedAbnormalFromProcMgr(uint32_t reason, AppStateType& before)
        EXCLUDES(mutex_);
    AppChangeState ReportRunningNormalStartFromApp(AppStateType& before) EXCLUDES(mutex_);

    /// Restarts when the policy is one that restarts; else false, silently.
    bool CanRestart();

    /// Replaces the state object; an empty pointer is refused. For state objects, under the mutex.
    void SetAppState(std::shared_ptr<ApplicationState> next);

    /// A new state object of that type for this application; empty for an unknown type.
    std::shared_ptr<ApplicationState> MapStateTypeToStatePointer(AppStateType type);

    /// Forces the next state when the current one is as expected.
    bool CompareAndSetAppState(AppStateType expected, AppStateType next) EXCLUDES(mutex_);

    /// Takes over state, pid, restart count and detail status of the record that this one replaces.
    bool CopyDynamicAttributeFromApp(const Application& other);

    /// The dump text.
    std::string AppInfoToString() const;

    /// The restart limiter: whether one more restart is allowed now. For state objects, under the
    /// mutex.
    bool IsOkToRestart();

private:
    AppStateType StateTypeLocked() const REQUIRES(mutex_);

    template <typename Report>
    AppChangeState ForwardReport(AppStateType& before, Report report) EXCLUDES(mutex_);

    const std::string appName_;
    const ApplicationManifest manifest_;
    std::atomic<int32_t> pid_{-1};  // -1: never reported
    std::atomic<uint32_t> detailStatus_;
    mutable Mutex mutex_;
    std::shared_ptr<ApplicationState> state_ GUARDED_BY(mutex_);
    std::unique_ptr<DataMaster::Timer> restartTimer_ GUARDED_BY(mutex_);  // made on first use
    std::atomic<uint32_t> restartCount_{0};                               // in the current window
    mutable Mutex parameterMutex_;                                        // a leaf
    // Where they differ from the manifest's.
    std::optional<std::vector<std::string>> arguments_ GUARDED_BY(parameterMutex_);
    DynamicParas dynamicParas_ GUARDED_BY(parameterMutex_);  // of the last accepted request
};

}  // namespace ProcMgr
