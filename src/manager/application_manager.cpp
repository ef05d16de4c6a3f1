#include "src/manager/application_manager.h"

#include "src/common/logging.h"
#include "src/common/never_destroyed.h"

namespace ProcMgr {

ApplicationManager& ApplicationManager::GetInstance() {
    static NeverDestroyed<ApplicationManager> instance;
    return *instance;
}

ApplicationManager::ApplicationManager() {
    InitStartupPathByEnv();
}

std::shared_ptr<Application> ApplicationManager::FindLocked(const std::string& name) const {
    for (const Applications* table : {&baseApplications_, &drivingApplications_}) {
        const auto entry = table->find(name);
        if (entry != table->end()) {
            return entry->second;
        }
    }
    return nullptr;
}

std::shared_ptr<Application> ApplicationManager::FindApplication(const std::string& name,
                                                                 bool create) {
    MutexLock lock(mutex_);
    return FindOrCreateLocked(name, create);
}

std::shared_ptr<Application> ApplicationManager::FindOrCreateLocked(const std::string& name,
                                                                    bool create) {
    if (auto application = FindLocked(name)) {
        return application;
    }
    if (create && dynamicManifests_.count(name) > 0) {
        return CreateDynamicLocked(name);
    }
    GRP_WARNING("ApplicationManager: FindApplication %s (no application found).", name.c_str());
    return nullptr;
}

std::shared_ptr<Application> ApplicationManager::CreateDynamicApplication(const std::string& name) {
    MutexLock lock(mutex_);
    return CreateDynamicLocked(name);
}

std::shared_ptr<Application> ApplicationManager::CreateDynamicLocked(const std::string& name) {
    GRP_INFO("ApplicationManager: CreateDynamicApplication %s", name.c_str());
    auto application = std::make_shared<Application>(dynamicManifests_.at(name), name);
    const auto [entry, isNew] = drivingApplications_.emplace(name, std::move(application));
    if (isNew) {
        removable_.insert(name);
    }
    return entry->second;
}

// What the running change set still has to start or restart stays: it would be started without a
// record, or not at all.
void ApplicationManager::RemoveDynamicApplication(const std::string& name) {
    MutexLock lock(mutex_);
    const bool isNeeded = stillToStart_.count(name) > 0 || stillToRestart_.count(name) > 0;
    if (!isNeeded && HasEndedForGoodLocked(name)) {
        RemoveLocked(name);
    }
}

// An ordinary application stays at its exit, or neither its restart policy nor a later start could
// find it.
bool ApplicationManager::HasEndedForGoodLocked(const std::string& name) const {
    const auto entry = drivingApplications_.find(name);
    if (entry == drivingApplications_.end() || removable_.count(name) == 0) {
        return false;
    }
    const AppStateType state = entry->second->GetAppStateType();
    return state == AppStateType::TERMINATED || state == AppStateType::INITSTATE;
}

// A template's record also comes into being when it is only looked at.
void ApplicationManager::RemoveEndedLocked() {
    for (const std::string& name : Names(removable_)) {
        if (HasEndedForGoodLocked(name)) {
            RemoveLocked(name);
        }
    }
}

void ApplicationManager::RemoveLocked(const std::string& name) {
    ++removals_;
    drivingApplications_.erase(name);
    removable_.erase(name);
    if (vanished_.erase(name) > 0) {
        ForgetDependsLocked(name);
    }
}

}  // namespace ProcMgr
