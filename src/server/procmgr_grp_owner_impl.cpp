#include "src/server/procmgr_grp_owner_impl.h"

#include <exception>

#include "grpowner/ss_to_owner_server.h"
#include "platform/heartbeat_service.h"
#include "src/agent/procmgr_agent.h"
#include "src/common/logging.h"
#include "src/manager/application_manager.h"
#include "src/trace/trace.h"

namespace ProcMgr {

namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;

// What the owner reports of itself: the healthy number is the one that the name table calls
// TERMINATING, the failing one has no name there. Both are what the process manager expects.
constexpr auto kOwnerWell = BaseServiceState::TERMINATING;
constexpr auto kOwnerFailing = static_cast<BaseServiceState>(3);

constexpr int kChangeTimeout = 5000;  // milliseconds

std::vector<AppInfoForServer> ByName(const std::vector<std::string>& names) {
    std::vector<AppInfoForServer> apps;
    apps.reserve(names.size());
    for (const std::string& name : names) {
        apps.push_back({name, {}, {}});
    }
    return apps;
}

/// The façade's boundary: an exception becomes `failure`, with a line.
template <typename Result, typename Function>
Result Guarded(const char* operation, Result failure, Function function) {
    try {
        return function();
    } catch (const std::exception& error) {
        GRP_ERROR("GroupOwner: %s failed: %s", operation, error.what());
        return failure;
    }
}

}  // namespace

uint64_t ProcMgrGrpOwnerImpl::logOutput_ = 0;
Mutex ProcMgrGrpOwnerImpl::fdMutex_;

ProcMgrGrpOwner& ProcMgrGrpOwner::GetInstance() {
    static ProcMgrGrpOwnerImpl instance;
    return instance;
}

ProcMgrGrpOwnerImpl::~ProcMgrGrpOwnerImpl() {
    // Requests and heartbeats go on, but what the subscribers have bound may go after us.
    server_->SetSystemStateCallback(nullptr);
    GrpOwnerServer::SetAppStateCallback(nullptr);
}

int ProcMgrGrpOwnerImpl::GrpOwnerConfig(const GrpOwnerCfg& cfg) {
    startupEntry_ = cfg.startupEntry;
    spareName_ = cfg.spareName;
    ssResFileName_ = cfg.ssResFileName;
    enableEvent_ = cfg.enableEvent;
    enableSsServer_ = cfg.enableSsServer;
    logOutput_ = cfg.logOutput;
    return kOk;
}

int ProcMgrGrpOwnerImpl::GrpOwnerEnable() {
    return Guarded("GrpOwnerEnable", kFailed, [this] { return GroupOwnerRegCb() ? kOk : kFailed; });
}

bool ProcMgrGrpOwnerImpl::GroupOwnerRegCb() {
    ProcMgrAgent& agent = ProcMgrAgent::GetInstance();
    if (agent.IsOk() != AgentResult::kSuccess) {
        GRP_ERROR(
            "GroupOwner: ProcMgrAgent RegAppStateChangeCallBack failed because ProcMgrAgent is not "
            "OK.");
        return false;
    }
    GRP_INFO("GroupOwner: ProcMgrAgent RegAppStateChangeCallBack.");
    // Results are ignored: each registration logs its own failure and keeps the callback.
    (void)agent.RegAppStateChangeCallBackImpl(
        [this](const std::vector<Message::AppStateInfo>& reports) {
            server_->ReportAppStateFromProcMgr(reports);
        });
    (void)agent.RegQueryAppStateCallBackImpl(
        [this](const std::map<std::string, uint32_t>& details) {
            server_->QueryAppStateRespFromProcMgr(details);
        });
    if (!ApplicationManager::GetInstance().ApplicationMgrInit(startupEntry_)) {
        GRP_ERROR("GroupOwner: ApplicationManager init failed.");
        return false;
    }
    if (enableSsServer_) {
        RegisterRequestHandlers();
    }
    return true;
}

// The callbacks share the coordinator: requests may still be carried out while the process exits.
// Results are ignored: each registration logs its own failure, and the owner works without.
void ProcMgrGrpOwnerImpl::RegisterRequestHandlers() {
    const std::shared_ptr<GrpOwnerServer> server = server_;
    using Apps = std::vector<AppInfoForServer>;
    SsToOwnerServer& requests = SsToOwnerServer::GetInstance();
    (void)requests.RegSsVerifyAppCallBackImpl(
        [server](const std::map<std::string, unsigned int>& changes) {
            return server->GrpOwnerVerifyApp(changes);
        },
        ssResFileName_);
    (void)requests.RegSsChangeAppTimeoutCallBackImpl(
        [server](const Apps& term, const Apps& start, const Apps& restart,
                 std::vector<AppChangeInfo>& results,
                 int timeout) { return server->ChangeApp(term, start, restart, results, timeout); },
        ssResFileName_);
    (void)requests.RegReloadCallBackImpl([server] { return server->ReloadCfg(); }, ssResFileName_);
    (void)requests.RegDumpCallBackImpl([server] { return server->ApplicationDump(); },
                                       ssResFileName_);
    (void)requests.RegQueryAppListCallBackImpl(
        [server](std::vector<std::string>& names) { return server->QueryAppList(names); },
        ssResFileName_);
    (void)requests.RegStopAllAppCallBackImpl([server] { return server->StopAllApp(); },
                                             ssResFileName_);
    (void)requests.RegSetSystemStateTimeoutCallBackImpl(
        [server](int state, int timeout) { return server->SetSystemState(state, timeout); },
        ssResFileName_);
    (void)requests.RegSsQueryAppStateCallBackImpl(
        [server](const std::vector<std::string>& names, std::vector<AppStatus>& states,
                 int timeout) { return server->QueryAppState(names, states, timeout); },
        ssResFileName_);
}

int ProcMgrGrpOwnerImpl::GrpOwnerDisable() {
    return Guarded("GrpOwnerDisable", kOk, [] {
        // Results are ignored: there is nothing left to do about a failure.
        (void)ProcMgrAgent::GetInstance().StopOwnerHeart();
        (void)DisableAllCheckHeartBeat();
        return kOk;
    });
}

bool ProcMgrGrpOwnerImpl::StartAutoStartApp() {
    return Guarded("StartAutoStartApp", false, [] {
        return Trace::Request(TraceRequest::BOOT)
            .Done(ApplicationManager::GetInstance().StartBaseApplication());
    });
}

bool ProcMgrGrpOwnerImpl::CheckAppExisted(const std::string& name) const {
    return Guarded("CheckAppExisted", false, [&] {
        if (server_->FindApp(name) != nullptr) {
            return true;
        }
        GRP_EVENT("App %s is not managed by app manager, will be added to monitor.", name.c_str());
        return false;
    });
}

int ProcMgrGrpOwnerImpl::QueryAppInfo(const std::string& name, ApplicationInfo& out) const {
    return Guarded("QueryAppInfo", kFailed, [&] {
        const auto application = server_->FindApp(name);
        if (application == nullptr) {
            GRP_EVENT("App %s is not managed this group owner.", name.c_str());
            return kFailed;
        }
        out.nodeType = static_cast<uint32_t>(application->GetNodeType());
        return kOk;
    });
}

int ProcMgrGrpOwnerImpl::ReportAppStateFromApp(const std::string& name, int pid,
                                               AppReportState state) const {
    return Guarded("ReportAppStateFromApp", kFailed,
                   [&] { return server_->ReportAppStateFromApp(name, pid, state); });
}

int ProcMgrGrpOwnerImpl::ReportEventFromApp(const unsigned char* data, unsigned int length) const {
    if (!enableEvent_) {
        GRP_ERROR("Event report module isn't enabled.");
        return kFailed;
    }
    return server_->GrpOwnerReportEvent(data, length);
}

int ProcMgrGrpOwnerImpl::SubscribeSystemState(const SystemStateCallback& callback) {
    return Guarded("SubscribeSystemState", kFailed, [&] {
        server_->SetSystemStateCallback(callback);
        return kOk;
    });
}

int ProcMgrGrpOwnerImpl::SubscribeAppState(const AppStateCallback& callback) {
    return Guarded("SubscribeAppState", kFailed, [&] {
        GrpOwnerServer::SetAppStateCallback(callback);
        return kOk;
    });
}

int ProcMgrGrpOwnerImpl::ReportSelfStateToPm(bool ok) {
    return Guarded("ReportSelfStateToPm", kFailed, [ok] {
        Message::BaseServiceStateInfo info;
        info.state = ok ? kOwnerWell : kOwnerFailing;
        if (ok) {
            GRP_EVENT("Group owner running ok.");
        } else {
            GRP_ERROR("Group owner running failed, so report <TERMINATING> to pm.");
        }
        const bool isFailed =
            ProcMgrAgent::GetInstance().ReportBaseServiceState(info) != AgentResult::kSuccess;
        return isFailed ? kFailed : kOk;
    });
}

int ProcMgrGrpOwnerImpl::ChangeAppState(const std::vector<std::string>& term,
                                        const std::vector<std::string>& start,
                                        const std::vector<std::string>& restart,
                                        std::map<std::string, bool>& results) {
    return Guarded("ChangeAppState", kFailed, [&] {
        std::vector<AppChangeInfo> lines;
        if (!server_->ChangeApp(ByName(term), ByName(start), ByName(restart), lines,
                                kChangeTimeout)) {
            return kFailed;
        }
        for (const AppChangeInfo& line : lines) {
            results[line.name] = line.state == AppChangeState::SUCCESS;
        }
        return kOk;
    });
}

int ProcMgrGrpOwnerImpl::GrpOwnerRestartApp(const std::string& name) {
    return Guarded("GrpOwnerRestartApp", kOk, [&name] {
        Trace::Request request(TraceRequest::RESTART, name);
        ApplicationManager::GetInstance().CheckAndRestartApp(name);
        (void)request.Done(true);
        return kOk;
    });
}

}  // namespace ProcMgr
