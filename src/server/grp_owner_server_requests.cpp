// Requests of the system-state manager.

#include <exception>

#include "src/common/logging.h"
#include "src/manager/application_manager.h"
#include "src/server/grp_owner_server.h"
#include "src/trace/trace.h"

namespace ProcMgr {

namespace {

/// Every argument with a blank behind it.
std::string ArgumentText(const AppInfoForServer& app) {
    std::string text;
    for (const std::string& argument : app.argv) {
        text += argument + " ";
    }
    return text;
}

}  // namespace

void GrpOwnerServer::SetSystemStateCallback(SystemStateCallback callback) {
    MutexLock lock(systemStateMutex_);
    systemStateCallback_.swap(callback);  // the earlier one ends without the lock
}

// The subscriber hears of every termination before any is tried, so that it takes no exit for a
// failure.
bool GrpOwnerServer::ChangeApp(const std::vector<AppInfoForServer>& term,
                               const std::vector<AppInfoForServer>& start,
                               const std::vector<AppInfoForServer>& restart,
                               std::vector<AppChangeInfo>& results, int timeout) {
    GRP_WARNING(
        "GrpOwnerServer receive callback(RegSsChangeAppCallBack)  ChangeApp begin. (timeout=%d)",
        timeout);
    Trace::Request request(TraceRequest::CHANGE);
    for (const AppInfoForServer& app : term) {
        const std::string arguments = ArgumentText(app);
        (void)NotifyAppState(app.name, 0, AppReportState::ACTIVELY_EXIT);
        GRP_WARNING("ChangeApp: termApplist: appName:%s args:%s", app.name.c_str(),
                    arguments.c_str());
    }
    for (const AppInfoForServer& app : start) {
        GRP_WARNING("ChangeApp: startAppList: appName:%s args:%s", app.name.c_str(),
                    ArgumentText(app).c_str());
    }
    for (const AppInfoForServer& app : restart) {
        GRP_WARNING("ChangeApp: restartAppList: appName:%s args:%s", app.name.c_str(),
                    ArgumentText(app).c_str());
    }
    return request.Done(
        ApplicationManager::GetInstance().ChangeApp(term, start, restart, results, timeout));
}

bool GrpOwnerServer::SetSystemState(int state, int timeout) {
    GRP_EVENT("Set system state begin. (state=%d,timeout=%d)", state, timeout);
    Trace::Request request(TraceRequest::SET_SYSTEM_STATE);
    SystemStateCallback callback;
    {
        MutexLock lock(systemStateMutex_);
        callback = systemStateCallback_;
    }
    try {
        return request.Done(callback ? callback(state, timeout) : false);
    } catch (const std::exception& error) {
        GRP_ERROR("GroupOwner: the subscriber of system states failed: %s. (state=%d)",
                  error.what(), state);
    } catch (...) {
        GRP_ERROR("GroupOwner: the subscriber of system states failed. (state=%d)", state);
    }
    return false;
}

bool GrpOwnerServer::QueryAppState(const std::vector<std::string>& names,
                                   std::vector<AppStatus>& states, int timeout) {
    return Trace::Request(TraceRequest::QUERY)
        .Done(ApplicationManager::GetInstance().QueryAppState(names, states, timeout));
}

bool GrpOwnerServer::QueryAppList(std::vector<std::string>& names) {
    return Trace::Request(TraceRequest::LIST)
        .Done(ApplicationManager::GetInstance().QueryAppList(names));
}

bool GrpOwnerServer::GrpOwnerVerifyApp(const std::map<std::string, unsigned int>& changes) {
    return Trace::Request(TraceRequest::VERIFY)
        .Done(ApplicationManager::GetInstance().GrpOwnerVerifyApp(changes));
}

bool GrpOwnerServer::ReloadCfg() {
    return Trace::Request(TraceRequest::RELOAD).Done(ApplicationManager::GetInstance().ReloadCfg());
}

bool GrpOwnerServer::ApplicationDump() {
    Trace::Request request(TraceRequest::DUMP);
    ApplicationManager::GetInstance().ApplicationDump();
    return request.Done(true);
}

}  // namespace ProcMgr
