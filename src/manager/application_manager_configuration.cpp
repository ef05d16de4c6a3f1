// Configuration of the application manager: where it comes from, how it is loaded and loaded again.

#include <climits>
#include <cstdlib>
#include <utility>

#include "src/agent/procmgr_agent.h"
#include "src/common/environment.h"
#include "src/common/logging.h"
#include "src/common/process_constants.h"
#include "src/manager/application_manager.h"

namespace ProcMgr {

namespace {

// The manifest service's selectors and the key of the match data.
constexpr ParseAndDepend::ParamType kParseManifests = 0;
constexpr ParseAndDepend::ParamType kParseReplaceData = 1;
constexpr char kMatchDataKey[] = "cfgmgr_env";

// Milliseconds.
constexpr uint32_t kStartTimeout = 4500;
constexpr uint32_t kTermTimeout = 5000;
constexpr uint32_t kRestartTimeout = 5000;
constexpr uint32_t kLongRunTimeout = 1800000;
constexpr int32_t kChangeTimeout = 4500;

bool ReadMatchData(ParseAndDepend::MatchData& matchData) {
    return ParseAndDepend::GetInstance().ParseToReplaceData(kParseReplaceData, kMatchDataKey,
                                                            matchData) == 0;
}

}  // namespace

void ApplicationManager::InitStartupPathByEnv() {
    const auto value = GetEnvironment(kStartupEntryPathEnv);
    if (!value) {
        GRP_ERROR("Get startup entry path env failed, key=%s", kStartupEntryPathEnv);
        return;
    }
    GRP_INFO("Get startup entry env success. key=%s,value=%s", kStartupEntryPathEnv,
             value->c_str());
    char resolved[PATH_MAX] = {};
    if (realpath(value->c_str(), resolved) == nullptr) {
        GRP_ERROR("Check startup entry path failed, path=%s", value->c_str());
        return;
    }
    {
        MutexLock lock(mutex_);
        startEntryPath_ = resolved;
    }
    GRP_INFO("Check startup entry path success, check result=%s", resolved);
}

void ApplicationManager::InitAppCond() {
    GRP_INFO("DATAMASTER_RUN_MODE=%s", GetEnvironment(kRunModeEnv).value_or("").c_str());
    const bool isLong = IsLongRunMode();
    baseStart_.timeout = isLong ? kLongRunTimeout : kStartTimeout;
    changeStart_.timeout = isLong ? kLongRunTimeout : kStartTimeout;
    term_.timeout = isLong ? kLongRunTimeout : kTermTimeout;
    restart_.timeout = isLong ? kLongRunTimeout : kRestartTimeout;
    baseStart_.ClearNotified();
    changeStart_.ClearNotified();
    restart_.ClearNotified();
    term_.SetNotified();
    changeTimeout_ = kChangeTimeout;
}

std::string ApplicationManager::StartEntryPath() const {
    MutexLock lock(mutex_);
    return startEntryPath_;
}

ApplicationManager::Tables ApplicationManager::SortManifests(
    const std::vector<ApplicationManifest>& manifests) {
    Tables tables;
    for (const ApplicationManifest& manifest : manifests) {
        const std::string& name = manifest.GetAppName();
        if (!manifest.GetIsAutoBoot() && manifest.GetIsDynamicPara()) {
            tables.dynamicManifests.emplace(name, manifest);
            GRP_INFO("ApplicationManager init: dynamicManifests_ AppName=%s", name.c_str());
            continue;
        }
        Applications& table = manifest.GetIsAutoBoot() ? tables.base : tables.driving;
        table.emplace(name, std::make_shared<Application>(manifest, name));
    }
    return tables;
}

bool ApplicationManager::ApplicationMgrInit(const std::string& entry) {
    Message::StartupCfgInfo info;
    if (entry.empty()) {
        InitStartupPathByEnv();
        if (!ReadMatchData(info.matchData)) {
            GRP_ERROR("ParseToReplaceData failed.");
        }
    } else {
        MutexLock lock(mutex_);
        startEntryPath_ = entry;
    }
    info.path = StartEntryPath();
    if (info.path.empty()) {
        GRP_ERROR("ApplicationManager init failed: startup entry path is empty");
        return false;
    }
    for (const auto& [key, value] : info.matchData) {
        GRP_INFO("matchData first=%s second=%s", key.c_str(), value.c_str());
    }
    if (ProcMgrAgent::GetInstance().LoadStartupCfgInfo(info) != AgentResult::kSuccess) {
        GRP_ERROR("ApplicationManager init failed: LoadStartupCfgInfo failed");
        return false;
    }
    std::vector<ApplicationManifest> manifests;
    if (ParseAndDepend::GetInstance().ParseYaml(kParseManifests, info.path, manifests,
                                                info.matchData) != 0) {
        GRP_ERROR("ApplicationManager init: parse application manifest error !!! ");
        return false;
    }
    Tables tables = SortManifests(manifests);
    bool isIdle = false;
    {
        // A second initialisation adds what is new and keeps the records that are there.
        MutexLock lock(mutex_);
        baseApplications_.merge(tables.base);
        drivingApplications_.merge(tables.driving);
        dynamicManifests_.merge(tables.dynamicManifests);
        isIdle = isTransitionFinished_ && baseStarts_ == 0;
    }
    if (isIdle) {
        InitAppCond();
    }
    return true;
}

bool ApplicationManager::BeginReload() {
    MutexLock lock(mutex_);
    if (!isTransitionFinished_ || isReloading_ || baseStarts_ > 0) {
        GRP_ERROR("ApplicationManager: cannot reload now. (isTransitionFinish=%s)",
                  isTransitionFinished_ ? "true" : "false");
        return false;
    }
    isReloading_ = true;
    isTransitionFinished_ = false;
    return true;
}

void ApplicationManager::EndReload(bool allowLaterOnes) {
    MutexLock lock(mutex_);
    isTransitionFinished_ = true;
    isReloading_ = !allowLaterOnes;
}

bool ApplicationManager::ReloadCfg() {
    if (!BeginReload()) {
        return false;
    }
    GRP_EVENT("ReloadCfg begin.");
    const std::string path = StartEntryPath();
    if (path.empty()) {
        GRP_ERROR("ApplicationManager ReloadCfg failed: startup entry path is empty");
        // Kept on purpose: without a path no later reload is let in either.
        EndReload(false);
        return false;
    }
    const bool isReloaded = ReloadFrom(path);
    EndReload(true);
    if (isReloaded) {
        GRP_EVENT("ReloadCfg end.");
    }
    return isReloaded;
}

bool ApplicationManager::ReloadFrom(const std::string& path) {
    auto& service = ParseAndDepend::GetInstance();
    const ParseAndDepend::DependsMap savedDepends = service.GetApplicationDependsMap();
    Message::StartupCfgInfo info;
    (void)ReadMatchData(info.matchData);  // what could be read is used
    info.path = path;
    for (const auto& [key, value] : info.matchData) {
        GRP_INFO("first:%s second:%s", key.c_str(), value.c_str());
    }
    if (ProcMgrAgent::GetInstance().ReLoadStartupCfgInfo(info) != AgentResult::kSuccess) {
        GRP_ERROR("ApplicationManager ReloadCfg failed: ProcMgrAgent UpdateCfg failed");
        return false;
    }
    std::vector<ApplicationManifest> manifests;
    if (service.ParseYaml(kParseManifests, path, manifests, info.matchData) != 0) {
        GRP_ERROR("ApplicationManager: reload config error !!! ");
        service.SetApplicationDependsMap(savedDepends);
        return false;
    }
    UpdateApplicationList(manifests);
    return true;
}

// What both configurations know goes on in a fresh record. What runs but is no longer configured
// under its name keeps its record until it has ended: an instance of a template, or an application
// that vanished. The latter also keeps its place in the dependency map, or no term graph would know
// it.
void ApplicationManager::CarryOverLocked(Tables& tables) {
    auto depends = ParseAndDepend::GetInstance().GetApplicationDependsMap();
    removable_.clear();
    vanished_.clear();
    for (const Applications* table : {&baseApplications_, &drivingApplications_}) {
        for (const auto& [name, old] : *table) {
            if (Application* fresh = FindIn(tables, name)) {
                (void)fresh->CopyDynamicAttributeFromApp(*old);  // logs itself; stays initial
            } else if (!old->IsAppInitializing() && !old->IsAppTerminated()) {
                tables.driving.emplace(name, old);
                removable_.insert(name);
                if (tables.dynamicManifests.count(name) == 0) {
                    vanished_.insert(name);
                    depends[name] = old->GetDepends();
                }
            }
        }
    }
    ParseAndDepend::GetInstance().SetApplicationDependsMap(depends);
}

Application* ApplicationManager::FindIn(const Tables& tables, const std::string& name) {
    for (const Applications* table : {&tables.base, &tables.driving}) {
        const auto entry = table->find(name);
        if (entry != table->end()) {
            return entry->second.get();
        }
    }
    return nullptr;
}

void ApplicationManager::UpdateApplicationList(const std::vector<ApplicationManifest>& manifests) {
    Tables tables = SortManifests(manifests);
    // Copy and swap in one critical section: a report is applied before it or after it, never to a
    // record that has been copied already.
    MutexLock lock(mutex_);
    CarryOverLocked(tables);
    baseApplications_.swap(tables.base);
    drivingApplications_.swap(tables.driving);
    dynamicManifests_.swap(tables.dynamicManifests);
}

}  // namespace ProcMgr
