// What the manager tells without changing anything: states, names, a check of names, the dump.

#include "src/agent/procmgr_agent.h"
#include "src/common/logging.h"
#include "src/common/never_destroyed.h"
#include "src/common/wait_ladder.h"
#include "src/manager/application_manager.h"

namespace ProcMgr {

namespace {

constexpr uint32_t kLastOption = static_cast<uint32_t>(OptionType::RESTART);

/// The wait for the process manager's answer; one for all managers, as there is one pipe.
struct QueryResponse {
    Mutex queryAppStateMutex_;  // one query at a time; left of all other locks
    Mutex queryAppStateRespMutex_;
    CondVar waitQueryAppStateRespConditionVar_;
    uint64_t notices GUARDED_BY(queryAppStateRespMutex_) = 0;
};

QueryResponse& Response() {
    static NeverDestroyed<QueryResponse> response;
    return *response;
}

uint64_t NoticesSoFar(QueryResponse& response) {
    MutexLock lock(response.queryAppStateRespMutex_);
    return response.notices;
}

/// One wait, which any answer ends, late ones of an earlier query included. Whether it came in time
/// is for the clock to say.
/// @param before the notices at the time of the request: an answer that is there already counts
bool WaitForAnswer(QueryResponse& response, uint64_t before, SystemTimePoint deadline) {
    {
        MutexLock lock(response.queryAppStateRespMutex_);
        if (response.notices == before) {
            (void)response.waitQueryAppStateRespConditionVar_.WaitUntil(
                response.queryAppStateRespMutex_, deadline);
        }
    }
    return SystemNow() < deadline;
}

}  // namespace

void ApplicationManager::NotifyQueryAppState() {
    QueryResponse& response = Response();
    {
        MutexLock lock(response.queryAppStateRespMutex_);
        ++response.notices;
    }
    response.waitQueryAppStateRespConditionVar_.NotifyOne();
}

bool ApplicationManager::QueryAppState(const std::vector<std::string>& names,
                                       std::vector<AppStatus>& states, int32_t timeoutMs) {
    GRP_EVENT("ApplicationManager: QueryAppState begin. (appList=%zu, timeout=%d)", names.size(),
              timeoutMs);
    QueryResponse& response = Response();
    MutexLock lock(response.queryAppStateMutex_);
    std::vector<std::string> known;
    for (const std::string& name : names) {
        if (FindApplication(name, false) == nullptr) {
            states.push_back({name});
        } else {
            known.push_back(name);
        }
    }
    if (known.empty()) {
        GRP_EVENT("ApplicationManager: QueryAppState end, no app need query from pm");
        return true;
    }
    const uint64_t before = NoticesSoFar(response);
    if (ProcMgrAgent::GetInstance().QueryAppState(known) != AgentResult::kSuccess) {
        GRP_ERROR("ApplicationManager: QueryAppState failed. because ProcMgrAgent fail.");
        return false;
    }
    if (!WaitForAnswer(response, before, SystemNow() + EffectiveWait(timeoutMs))) {
        GRP_ERROR("ApplicationManager: QueryAppState failed. because time-out.");
        return false;
    }
    for (const std::string& name : known) {
        states.push_back(StatusOf(name));
    }
    GRP_EVENT("ApplicationManager: QueryAppState end");
    return true;
}

AppStatus ApplicationManager::StatusOf(const std::string& name) {
    const auto application = FindApplication(name, false);
    if (application == nullptr) {
        GRP_INFO("ApplicationManager: QueryAppState %s no application found", name.c_str());
        return {name};
    }
    return {name, application->GetPid(), application->GetDetailStatus()};
}

// Look-up and change are one critical section, so that no reload can come between them.
bool ApplicationManager::SetDetailStatus(const std::string& name, uint32_t status) {
    MutexLock lock(mutex_);
    const auto application = FindOrCreateLocked(name, false);
    if (application != nullptr) {
        application->SetDetailStatus(status);
    }
    return application != nullptr;
}

std::vector<std::string> ApplicationManager::BaseNames() const {
    MutexLock lock(mutex_);
    std::vector<std::string> names;
    for (const auto& entry : baseApplications_) {
        names.push_back(entry.first);
    }
    return names;
}

std::vector<std::shared_ptr<Application>> ApplicationManager::DrivingApplications() const {
    MutexLock lock(mutex_);
    std::vector<std::shared_ptr<Application>> applications;
    for (const auto& entry : drivingApplications_) {
        applications.push_back(entry.second);
    }
    return applications;
}

bool ApplicationManager::QueryAppList(std::vector<std::string>& names) const {
    MutexLock lock(mutex_);
    for (const Applications* table : {&baseApplications_, &drivingApplications_}) {
        for (const auto& entry : *table) {
            names.push_back(entry.first);
        }
    }
    return true;
}

bool ApplicationManager::GrpOwnerVerifyApp(const std::map<std::string, uint32_t>& options) const {
    MutexLock lock(mutex_);
    bool isGood = true;
    for (const auto& [name, option] : options) {
        if (FindLocked(name) == nullptr && dynamicManifests_.count(name) == 0) {
            GRP_ERROR("ApplicationManager: GrpOwnerVerifyApp failed, app %s is not in this group.",
                      name.c_str());
            isGood = false;
        }
        if (option > kLastOption) {
            GRP_ERROR("ApplicationManager: GrpOwnerVerifyApp failed, app %s option %u is invalid.",
                      name.c_str(), option);
            isGood = false;
        }
    }
    return isGood;
}

void ApplicationManager::ApplicationDump() const {
    Tables tables;
    bool isTransitionFinished = false;
    bool isReloading = false;
    {
        MutexLock lock(mutex_);
        tables = {baseApplications_, drivingApplications_, dynamicManifests_};
        isTransitionFinished = isTransitionFinished_;
        isReloading = isReloading_;
    }
    GRP_EVENT("Dump Info: ");
    GRP_EVENT("baseApplications Info: ");
    for (const auto& entry : tables.base) {
        GRP_EVENT("%s", entry.second->AppInfoToString().c_str());
    }
    GRP_EVENT("drivingApplications Info: ");
    for (const auto& entry : tables.driving) {
        GRP_EVENT("%s", entry.second->AppInfoToString().c_str());
    }
    GRP_EVENT("dynamicManifests Info: ");
    for (const auto& [name, manifest] : tables.dynamicManifests) {
        GRP_EVENT("%s", Application(manifest, name).AppInfoToString().c_str());
    }
    GRP_EVENT("isTransitionFinished_=%d isReloading_=%d", isTransitionFinished ? 1 : 0,
              isReloading ? 1 : 0);
    GRP_WARNING("Parse_And_Depend adj Map: ");
    for (const auto& [name, depends] : ParseAndDepend::GetInstance().GetApplicationDependsMap()) {
        std::string list;
        for (const std::string& depend : depends) {
            list += depend + " ";
        }
        GRP_WARNING("app=%s depend=%s", name.c_str(), list.c_str());
    }
}

}  // namespace ProcMgr
