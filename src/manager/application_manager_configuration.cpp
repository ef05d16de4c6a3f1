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
        if (FindIn(tables, name) != nullptr) {
            continue;  // the first record stays
        }
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
    if (AddAndClaimIfIdle(SortManifests(manifests))) {
        InitAppCond();
        MutexLock lock(mutex_);
        isTransitionFinished_ = true;
    }
    return true;
}

// A second initialisation adds what is new and keeps the records where they are. The claim keeps a
// transition from beginning while the batches are readied, which happens without the mutex.
bool ApplicationManager::AddAndClaimIfIdle(Tables tables) {
    MutexLock lock(mutex_);
    for (auto [from, to] : {std::pair(&tables.base, &baseApplications_),
                            std::pair(&tables.driving, &drivingApplications_)}) {
        while (!from->empty()) {
            auto entry = from->extract(from->begin());
            // One that had vanished or was a template's is an ordinary application from now on.
            removable_.erase(entry.key());
            vanished_.erase(entry.key());
            if (FindLocked(entry.key()) == nullptr) {
                to->insert(std::move(entry));
            }
        }
    }
    for (const auto& entry : tables.dynamicManifests) {
        vanished_.erase(entry.first);
    }
    dynamicManifests_.merge(tables.dynamicManifests);
    KeepDependsLocked();
    const bool isIdle = isTransitionFinished_ && baseStarts_ == 0;
    if (isIdle) {
        isTransitionFinished_ = false;
    }
    return isIdle;
}

/// A reload, if it is let in; its claim is given back on every way out.
class ApplicationManager::Reload {
public:
    explicit Reload(ApplicationManager& manager) : manager_(manager), isLetIn_(Claim(manager)) {}
    ~Reload() {
        if (!isLetIn_) {
            return;
        }
        MutexLock lock(manager_.mutex_);
        manager_.isTransitionFinished_ = true;
        manager_.isReloading_ = keepsLaterOnesOut_;
        for (const std::string& name : Names(std::move(manager_.endedInReload_))) {
            manager_.ForgetDependsLocked(name);
        }
        manager_.endedInReload_.clear();
    }
    Reload(const Reload&) = delete;
    Reload& operator=(const Reload&) = delete;

    bool Run();

private:
    static bool Claim(ApplicationManager& manager) {
        MutexLock lock(manager.mutex_);
        if (!manager.isTransitionFinished_ || manager.isReloading_ || manager.baseStarts_ > 0) {
            GRP_ERROR("ApplicationManager: cannot reload now. (isTransitionFinish=%s)",
                      manager.isTransitionFinished_ ? "true" : "false");
            return false;
        }
        manager.isReloading_ = true;
        manager.isTransitionFinished_ = false;
        return true;
    }

    ApplicationManager& manager_;
    bool isLetIn_;
    bool keepsLaterOnesOut_ = false;
};

bool ApplicationManager::ReloadCfg() {
    // The claim is given back before the end is told: who waits for that line may reload again.
    if (!Reload(*this).Run()) {
        return false;
    }
    GRP_EVENT("ReloadCfg end.");
    return true;
}

bool ApplicationManager::Reload::Run() {
    if (!isLetIn_) {
        return false;
    }
    GRP_EVENT("ReloadCfg begin.");
    const std::string path = manager_.StartEntryPath();
    if (path.empty()) {
        GRP_ERROR("ApplicationManager ReloadCfg failed: startup entry path is empty");
        // Kept on purpose: without a path no later reload is let in either.
        keepsLaterOnesOut_ = true;
        return false;
    }
    return manager_.ReloadFrom(path);
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
                }
            }
        }
    }
}

// What was read last knows nothing of the vanished ones.
void ApplicationManager::KeepDependsLocked() {
    if (vanished_.empty()) {
        return;
    }
    auto depends = ParseAndDepend::GetInstance().GetApplicationDependsMap();
    for (const std::string& name : vanished_) {
        depends[name] = drivingApplications_.at(name)->GetDepends();
    }
    ParseAndDepend::GetInstance().SetApplicationDependsMap(depends);
}

// A reload reads the configuration without the mutex: the map is left alone meanwhile, or what it
// has read would be written over, or what it puts back would bring the name back.
void ApplicationManager::ForgetDependsLocked(const std::string& name) {
    if (isReloading_) {
        endedInReload_.insert(name);
        return;
    }
    if (FindLocked(name) != nullptr || dynamicManifests_.count(name) > 0) {
        return;  // configured again meanwhile
    }
    auto depends = ParseAndDepend::GetInstance().GetApplicationDependsMap();
    depends.erase(name);
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
    ++removals_;
    baseApplications_.swap(tables.base);
    drivingApplications_.swap(tables.driving);
    dynamicManifests_.swap(tables.dynamicManifests);
    KeepDependsLocked();
}

}  // namespace ProcMgr
