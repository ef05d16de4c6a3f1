#include "tests/support/group.h"

#include <cstdlib>
#include <set>
#include <stdexcept>

#include "platform/memory/memory_platform.h"
#include "src/manager/application_manager.h"

namespace GrpOwnerTest {

using ProcMgr::Application;
using ProcMgr::ApplicationManager;
using ProcMgr::AppReportState;
using ProcMgr::AppStateType;

namespace {

ProcMgr::ProcMgrGrpOwner& MakeOwner() {
    // The manager looks for its start entry when it is built: any path that exists will do.
    setenv("STARTUP_ENTRY_PATH", "/dev/null", 1);
    setenv("PROC_NAME", "owner", 1);
    return ProcMgr::ProcMgrGrpOwner::GetInstance();
}

const char* NoticeName(AppReportState state) {
    constexpr const char* kNames[] = {"SWITCH_ON",           "SWITCH_OFF",    "HEART_BEAT_LOST",
                                      "HEART_BEAT_RECOVERY", "ABNORMAL_EXIT", "ACTIVELY_EXIT"};
    return kNames[static_cast<uint32_t>(state)];
}

const char* StateName(AppStateType state) {
    constexpr const char* kNames[] = {"INITSTATE",  "RUNNING",     "STARTING",
                                      "RESTARTING", "TERMINATING", "TERMINATED"};
    return kNames[static_cast<uint32_t>(state)];
}

}  // namespace

Group::Group(const std::vector<ManifestFields>& manifests, uint64_t seed)
    : owner(MakeOwner()), pm(seed) {
    GrpOwnerMemory::SetConfiguration(manifests);
    const auto notice = [this](const std::string& name, int pid, AppReportState state) {
        const auto application = Find(name);
        const std::string then = application ? StateName(application->GetAppStateType()) : "GONE";
        const std::lock_guard<std::mutex> lock(mutex_);
        notices_.push_back(name + " " + std::to_string(pid) + " " + NoticeName(state) + " " + then);
        return true;
    };
    ProcMgr::GrpOwnerCfg config;
    config.ssResFileName = kRequestFile;
    config.enableSsServer = true;
    (void)owner.GrpOwnerConfig(config);     // always 0
    (void)owner.SubscribeAppState(notice);  // always 0
    std::set<std::string> reporting;
    for (const ManifestFields& manifest : manifests) {
        if (manifest.isReporting || manifest.isRosNode) {
            reporting.insert(manifest.appName);
        }
    }
    pm.SetReadiness(reporting,
                    [this](const std::string& name, uint32_t pid) { SayReady(name, pid); });
}

bool Group::Enable() {
    return owner.GrpOwnerEnable() == 0;
}

void Group::SayReady(const std::string& name, uint32_t pid) {
    // What it answers has no meaning.
    (void)owner.ReportAppStateFromApp(name, static_cast<int>(pid), AppReportState::SWITCH_ON);
}

std::shared_ptr<Application> Group::Find(const std::string& name) {
    return ApplicationManager::GetInstance().FindApplication(name, false);
}

AppStateType Group::State(const std::string& name) {
    const std::shared_ptr<Application> application = Find(name);
    if (application == nullptr) {
        throw std::runtime_error("no record of \"" + name + "\"");
    }
    return application->GetAppStateType();
}

bool Group::Runs(const std::string& name) {
    return State(name) == AppStateType::RUNNING;
}

std::vector<std::string> Group::Notices() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return notices_;
}

void Group::ForgetNotices() {
    const std::lock_guard<std::mutex> lock(mutex_);
    notices_.clear();
}

}  // namespace GrpOwnerTest
