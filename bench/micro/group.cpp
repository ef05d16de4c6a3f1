#include "bench/micro/group.h"

#include <cstdlib>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <utility>

#include "bench/micro/instant_pm.h"
#include "grpowner/procmgr_grp_owner.h"
#include "platform/memory/memory_platform.h"
#include "platform/portable/manifest_fields.h"
#include "src/manager/application_manager.h"

namespace GrpOwnerBench {

namespace {

void AddManifests(const std::string& shape, std::vector<ManifestFields>& manifests) {
    std::set<std::string> before;
    for (const ProcMgr::AppInfoForServer& app : Apps(shape, kGroupSize)) {
        ManifestFields fields;
        fields.appName = app.name;
        fields.restart = "on-forever";
        fields.isAutoBoot = false;
        if (shape == "chain") {
            fields.depends = std::exchange(before, {app.name});
        }
        manifests.push_back(fields);
    }
}

bool Enable() {
    setenv("STARTUP_ENTRY_PATH", "/dev/null", 1);  // any path that exists: memory reads no file
    setenv("PROC_NAME", "owner", 1);
    GrpOwnerMemory::SetLogThreshold(std::numeric_limits<int>::max());
    std::vector<ManifestFields> manifests;
    AddManifests("wide", manifests);
    AddManifests("chain", manifests);
    GrpOwnerMemory::SetConfiguration(manifests);
    auto& owner = ProcMgr::ProcMgrGrpOwner::GetInstance();
    if (owner.GrpOwnerConfig({}) != 0 || owner.GrpOwnerEnable() != 0) {
        throw std::runtime_error("the group cannot be set up");
    }
    return true;
}

double CpuTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

AppList Apps(const std::string& shape, size_t count) {
    AppList apps;
    for (size_t number = 0; number < count; ++number) {
        apps.push_back({shape + std::to_string(kGroupSize + number), {}, {}});
    }
    return apps;
}

void NeedGroup() {
    [[maybe_unused]] static const bool isEnabled = Enable();
    AnswerAtOnce(kGroupSize);
}

double Change(const AppList& term, const AppList& start, const AppList& restart) {
    constexpr int32_t kTimeout = 60000;  // milliseconds
    std::vector<ProcMgr::AppChangeInfo> results;
    const double begin = CpuTime();
    auto& manager = ProcMgr::ApplicationManager::GetInstance();
    if (!manager.ChangeApp(term, start, restart, results, kTimeout)) {
        throw std::runtime_error("the change set failed");
    }
    return CpuTime() - begin;
}

}  // namespace GrpOwnerBench
