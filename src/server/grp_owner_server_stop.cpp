// The ordered stop of the whole group: first what drives, then what that stands on.

#include <utility>

#include "src/common/logging.h"
#include "src/common/sync.h"
#include "src/manager/application_manager.h"
#include "src/server/grp_owner_server.h"
#include "src/trace/trace.h"

namespace ProcMgr {

namespace {

constexpr int32_t kStopTimeout = 5000;  // milliseconds, of one pass
constexpr Milliseconds kPause{1000};    // after every pass, the last included
constexpr int kMostPasses = 3;

/// Terminates the applications; what failed is tried again. Only the result of a pass and the
/// number of passes end this: a refused pass names no failures, and the one after it, for nothing,
/// succeeds.
/// @param list what the log calls the names
bool StopInPasses(std::vector<AppInfoForServer> apps, const char* list) {
    for (int passes = 1;; ++passes) {
        std::vector<AppChangeInfo> results;
        const bool isDone =
            ApplicationManager::GetInstance().ChangeApp(apps, {}, {}, results, kStopTimeout);
        Sleep(kPause);
        apps.clear();
        for (const AppChangeInfo& result : results) {
            if (result.state != AppChangeState::SUCCESS) {
                apps.push_back({result.name, {}, {}});
                GRP_WARNING("StopAllApp %s %d loop: %s term failed state: %u", list, passes,
                            result.name.c_str(), static_cast<uint32_t>(result.state));
            }
        }
        if (isDone || passes == kMostPasses) {
            return isDone;
        }
    }
}

}  // namespace

bool GrpOwnerServer::StopAllApp() {
    Trace::Request request(TraceRequest::STOP_ALL);
    return request.Done(StopDrivingApp() && StopBaseApp());
}

bool GrpOwnerServer::StopDrivingApp() const {
    GRP_WARNING("StopAllApp term driving app begin.");
    std::vector<AppInfoForServer> apps;
    for (const auto& application : ApplicationManager::GetInstance().DrivingApplications()) {
        if (!application->IsAppInitializing() && !application->IsAppTerminated()) {
            apps.push_back({application->GetAppName(), {}, {}});
        }
    }
    const bool isDone = StopInPasses(std::move(apps), "drivingAppTermList");
    GRP_WARNING("StopAllApp term driving app end. result: %d", isDone ? 1 : 0);
    return isDone;
}

bool GrpOwnerServer::StopBaseApp() const {
    GRP_WARNING("StopAllApp term base app begin.");
    std::vector<AppInfoForServer> apps;
    for (const std::string& name : ApplicationManager::GetInstance().BaseNames()) {
        apps.push_back({name, {}, {}});
    }
    const bool isDone = StopInPasses(std::move(apps), "baseAppTermList");
    GRP_WARNING("StopAllApp term base app end. result: %d", isDone ? 1 : 0);
    return isDone;
}

}  // namespace ProcMgr
