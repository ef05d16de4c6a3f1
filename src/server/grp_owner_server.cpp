#include "src/server/grp_owner_server.h"

#include <algorithm>
#include <exception>

#include "platform/heartbeat_service.h"
#include "src/common/logging.h"
#include "src/common/never_destroyed.h"
#include "src/common/sync.h"
#include "src/manager/application_manager.h"
#include "src/server/heartbeat_lost_apps.h"
#include "src/trace/trace.h"

namespace ProcMgr {

namespace {

constexpr int kHeartBeatBack = 0;
constexpr int kHeartBeatLost = 1;

constexpr uint32_t kInvalidDetailState = 3;

/// The application-state subscriber, one for the class.
struct AppStateSubscriber {
    Mutex mutex;  // a leaf
    AppStateCallback appStateChangeCb_ GUARDED_BY(mutex);
};

AppStateSubscriber& Subscriber() {
    static NeverDestroyed<AppStateSubscriber> subscriber;
    return *subscriber;
}

const char* NameOf(AppReportState state) {
    switch (state) {
        case AppReportState::SWITCH_ON:
            return "SWITCH_ON";
        case AppReportState::SWITCH_OFF:
            return "SWITCH_OFF";
        case AppReportState::HEART_BEAT_LOST:
            return "HEART_BEAT_LOST";
        case AppReportState::HEART_BEAT_RECOVERY:
            return "HEART_BEAT_RECOVERY";
        case AppReportState::ABNORMAL_EXIT:
            return "ABNORMAL_EXIT";
        case AppReportState::ACTIVELY_EXIT:
            return "ACTIVELY_EXIT";
    }
    return "unknown";
}

}  // namespace

void GrpOwnerServer::SetAppStateCallback(AppStateCallback callback) {
    AppStateSubscriber& subscriber = Subscriber();
    MutexLock lock(subscriber.mutex);
    subscriber.appStateChangeCb_.swap(callback);  // the earlier one ends without the lock
}

bool GrpOwnerServer::NotifyAppState(const std::string& name, int pid, AppReportState state) {
    GRP_EVENT("Notify app state begin. (name=%s,pid=%d,state=%s)", name.c_str(), pid,
              NameOf(state));
    AppStateSubscriber& subscriber = Subscriber();
    AppStateCallback callback;
    {
        MutexLock lock(subscriber.mutex);
        callback = subscriber.appStateChangeCb_;
    }
    try {
        return callback ? callback(name, pid, state) : false;
    } catch (const std::exception& error) {
        GRP_ERROR("GroupOwner: the subscriber of app states failed: %s. (app=%s)", error.what(),
                  name.c_str());
    } catch (...) {
        GRP_ERROR("GroupOwner: the subscriber of app states failed. (app=%s)", name.c_str());
    }
    return false;
}

std::string GrpOwnerServer::GetAppStateFromProcMgrName(Message::ReportAppStateType type) const {
    return type <= Message::ReportAppStateType::TERMINATED_ABNORMAL_EXIT
               ? GetReportAppStateTypeStr(static_cast<uint64_t>(type))
               : "Unknown";
}

void GrpOwnerServer::ReportAppStateFromProcMgr(const std::vector<Message::AppStateInfo>& reports) {
    GRP_WARNING("GrpOwnerServer: ReportAppStateFromProcMgr begin.");
    for (const Message::AppStateInfo& report : reports) {
        ApplyReport(report);
    }
    GRP_WARNING("GrpOwnerServer: ReportAppStateFromProcMgr end.");
}

void GrpOwnerServer::ApplyReport(const Message::AppStateInfo& report) {
    const auto type = static_cast<Message::ReportAppStateType>(report.type);
    GRP_EVENT("Receive app state from pm. (appName=%s,state=%s,pid=%u)", report.name.c_str(),
              GetAppStateFromProcMgrName(type).c_str(), report.pid);
    const auto application = ApplicationManager::GetInstance().FindApplication(report.name, false);
    if (application == nullptr) {
        GRP_ERROR("App:%s is not in this group.", report.name.c_str());
        return;
    }
    const Trace::Cause cause(Trace::Report(report));
    switch (type) {
        case Message::ReportAppStateType::RUNNING_NORMAL_START:
            ApplyStart(report);
            break;
        case Message::ReportAppStateType::RUNNING_NORMAL_RESTART:
            ApplyRestart(report, *application);
            break;
        case Message::ReportAppStateType::RUNNING_ABNORMAL_TERM_TIMEOUT:
            ApplicationManager::GetInstance().ReportRunningAbnormalTermTimeoutFromProcMgr(
                report.name);
            break;
        case Message::ReportAppStateType::TERMINATED_NORMAL_EXIT:
            ApplyNormalExit(report, *application);
            break;
        case Message::ReportAppStateType::TERMINATED_ABNORMAL_EXIT:
            ApplyAbnormalExit(report, *application);
            break;
        default:
            GRP_ERROR("GrpOwnerServer: ReportAppStateFromProcMgr app:%s state is unknown !",
                      report.name.c_str());
            break;
    }
}

void GrpOwnerServer::ApplyStart(const Message::AppStateInfo& report) {
    ApplicationManager::GetInstance().ReportRunningNormalStartFromProcMgr(report.name, report.pid);
    ConfirmStart(report.name);
}

// The subscriber hears of a stop before the state machine moves, so that it is told the old pid.
void GrpOwnerServer::ApplyRestart(const Message::AppStateInfo& report,
                                  const Application& application) {
    UnregisterAppHeartBeatCheck(application);
    (void)NotifyAppState(report.name, application.GetPid(), AppReportState::SWITCH_OFF);
    ApplicationManager::GetInstance().ReportRunningNormalReStartFromProcMgr(report.name,
                                                                            report.pid);
    ConfirmStart(report.name);
}

void GrpOwnerServer::ApplyNormalExit(const Message::AppStateInfo& report,
                                     const Application& application) {
    auto& manager = ApplicationManager::GetInstance();
    UnregisterAppHeartBeatCheck(application);
    (void)NotifyAppState(report.name, application.GetPid(), AppReportState::SWITCH_OFF);
    manager.ReportTerminatedNormalFromProcMgr(report.name);
    manager.RemoveDynamicApplication(report.name);
}

void GrpOwnerServer::ApplyAbnormalExit(const Message::AppStateInfo& report,
                                       const Application& application) {
    auto& manager = ApplicationManager::GetInstance();
    GRP_ERROR("Receive app abnormal exit. (appName=%s,pid=%u, reason=%u)", report.name.c_str(),
              report.pid, report.reason);
    UnregisterAppHeartBeatCheck(application);
    (void)NotifyAppState(report.name, application.GetPid(), AppReportState::ABNORMAL_EXIT);
    manager.ReportTerminatedAbnormalFromProcMgr(
        report.name, static_cast<Message::AppAbnormalExitReason>(report.reason));
    manager.RemoveDynamicApplication(report.name);
    manager.CheckAndRestartApp(report.name);
}

// The record is looked up again: a reload may have replaced it since the report was applied.
void GrpOwnerServer::ConfirmStart(const std::string& name) {
    const auto application = ApplicationManager::GetInstance().FindApplication(name, false);
    if (application == nullptr) {
        return;
    }
    if (application->IsAppRunning()) {
        (void)NotifyAppState(name, application->GetPid(), AppReportState::SWITCH_ON);
    }
    RegisterAppHeartBeatCheck(*application);
}

int GrpOwnerServer::ReportAppStateFromApp(const std::string& name, int pid,
                                          AppReportState state) const {
    auto& manager = ApplicationManager::GetInstance();
    const auto application = manager.FindApplication(name, false);
    if (state == AppReportState::SWITCH_ON) {
        if (application == nullptr) {
            GRP_EVENT(
                "ReportAppStateFromApp nodeName:%s pid:%d  cannot found in GrpOwner(with cfg). so "
                "add the appMonitor",
                name.c_str(), pid);
            return 0;
        }
        GRP_EVENT("GrpOwnerServer: ReportAppStateFromApp. (appName=%s,state=on,pid=%d)",
                  name.c_str(), pid);
        const Trace::Cause cause(Trace::Said(name, pid, state));
        manager.ReportRunningNormalStartFromApp(name);
        RegisterAppHeartBeatCheck(*application);
    } else if (state == AppReportState::SWITCH_OFF) {
        GRP_EVENT("GrpOwnerServer: ReportAppStateFromApp. (appName=%s,state=off,pid=%d)",
                  name.c_str(), pid);
        if (application != nullptr) {
            (void)Trace::Said(name, pid, state);
        }
    }
    return 0;
}

int GrpOwnerServer::GrpOwnerReportEvent(const unsigned char* /*data*/,
                                        unsigned int /*length*/) const {
    return 0;
}

std::shared_ptr<Application> GrpOwnerServer::FindApp(const std::string& name) const {
    auto application = ApplicationManager::GetInstance().FindApplication(name, false);
    if (application == nullptr) {
        GRP_WARNING(
            "GrpOwnerServer::GrpOwnerServer::FindApp (no application found) app name is %s.",
            name.c_str());
    }
    return application;
}

void GrpOwnerServer::QueryAppStateRespFromProcMgr(const std::map<std::string, uint32_t>& details) {
    for (const auto& [name, detail] : details) {
        const uint32_t status = std::min(detail, kInvalidDetailState);
        if (!ApplicationManager::GetInstance().SetDetailStatus(name, status)) {
            GRP_EVENT("GrpOwnerServer: %s is not in this group.", name.c_str());
        } else if (status == kInvalidDetailState) {
            GRP_ERROR("GrpOwnerServer: %s detailstatus %u invalid", name.c_str(), detail);
        }
    }
    ApplicationManager::NotifyQueryAppState();
}

void GrpOwnerServer::RegisterAppHeartBeatCheck(const Application& application) {
    if (!application.GetHeartBeatSwitch()) {
        return;
    }
    const std::string& name = application.GetAppName();
    const uint32_t gid = application.GetGid();
    UpdateHeartBeatLostApps(name, application.GetPid(), AppReportState::SWITCH_ON);
    const int result = RegisterCheckHeartBeat(name.data(), name.size(), gid, HeartBeatNotify);
    if (result == 0) {
        GRP_EVENT("GroupOwner: register heart beat check success. (app=%s,gid=%u)", name.c_str(),
                  gid);
    } else {
        GRP_ERROR("GroupOwner: register heart beat check failed. (app=%s,ret=%d)", name.c_str(),
                  result);
    }
}

void GrpOwnerServer::UnregisterAppHeartBeatCheck(const Application& application) {
    if (application.GetHeartBeatSwitch()) {
        const std::string& name = application.GetAppName();
        (void)UnregisterCheckHeartBeat(name.data(), name.size());  // unknown is harmless
    }
}

int GrpOwnerServer::HeartBeatNotify(const char* name, size_t nameLength, unsigned pid, int status) {
    if (name == nullptr || nameLength == 0) {
        GRP_ERROR("GroupOwner: process heart beat notify, app name is invalid. (nameLen=%zu)",
                  nameLength);
        return 0;
    }
    if (status != kHeartBeatLost && status != kHeartBeatBack) {
        return 0;
    }
    try {
        ApplyHeartBeat(std::string(name, nameLength), static_cast<int>(pid),
                       status == kHeartBeatLost ? AppReportState::HEART_BEAT_LOST
                                                : AppReportState::HEART_BEAT_RECOVERY);
    } catch (const std::exception& error) {
        GRP_ERROR("GroupOwner: process heart beat notify failed: %s", error.what());
    }
    return 1;
}

void GrpOwnerServer::ApplyHeartBeat(const std::string& name, int pid, AppReportState state) {
    GRP_EVENT("GroupOwner: process heart beat notify. (app=%s,pid=%d,status=%s)", name.c_str(), pid,
              state == AppReportState::HEART_BEAT_LOST ? "lost" : "recovery");
    const Trace::Cause cause(Trace::HeartBeat(name, pid, state));
    (void)NotifyAppState(name, pid, state);
    UpdateHeartBeatLostApps(name, pid, state);
}

void GrpOwnerServer::UpdateHeartBeatLostApps(const std::string& name, int pid,
                                             AppReportState state) {
    HeartBeatLostApps::GetInstance().Update(name, state, [&name, pid] {
        (void)Trace::HeartBeat(name, pid, AppReportState::HEART_BEAT_RECOVERY);
        (void)NotifyAppState(name, pid, AppReportState::HEART_BEAT_RECOVERY);
    });
}

}  // namespace ProcMgr
