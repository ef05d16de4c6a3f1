#include "daemons/grpownerd/state_plan.h"

#include <algorithm>
#include <map>

namespace GrpOwnerDaemon {

namespace {

using GrpOwnerClient::Change;
using GrpOwnerClient::Status;
using ProcMgr::OptionType;

// Process states, which are numbered in another order than an application's.
enum class ProcessState : uint32_t { kInit = 0, kTerminating = 3, kTerminated = 4 };

bool HasProcess(const Status& status) {
    const auto state = static_cast<ProcessState>(status.state);
    return status.pid > 0 && state != ProcessState::kInit && state != ProcessState::kTerminated;
}

// The configuration has no cycles, so this reaches every application.
std::vector<const ApplicationManifest*> InOrder(const std::vector<ApplicationManifest>& manifests) {
    struct Vertex {
        size_t pending = 0;
        std::vector<const ApplicationManifest*> dependants;
    };
    std::map<std::string, Vertex> vertices;
    std::vector<const ApplicationManifest*> order;
    for (const ApplicationManifest& manifest : manifests) {
        vertices[manifest.GetAppName()].pending = manifest.GetDependList().size();
        for (const std::string& dependency : manifest.GetDependList()) {
            vertices[dependency].dependants.push_back(&manifest);
        }
        if (manifest.GetDependList().empty()) {
            order.push_back(&manifest);
        }
    }
    for (size_t index = 0; index < order.size(); ++index) {
        for (const ApplicationManifest* dependant :
             vertices[order[index]->GetAppName()].dependants) {
            if (--vertices[dependant->GetAppName()].pending == 0) {
                order.push_back(dependant);
            }
        }
    }
    return order;
}

Change Make(const std::string& name, OptionType option) {
    Change change;
    change.name = name;
    change.option = option;
    return change;
}

}  // namespace

std::vector<std::string> DrivingApplications(const std::vector<ApplicationManifest>& manifests) {
    std::vector<std::string> names;
    for (const ApplicationManifest* manifest : InOrder(manifests)) {
        if (!manifest->GetIsAutoBoot() && !manifest->GetIsDynamicPara()) {
            names.push_back(manifest->GetAppName());
        }
    }
    return names;
}

std::vector<Change> PlanState(const std::vector<std::string>& driving,
                              const std::vector<Status>& statuses,
                              const std::set<std::string>& wanted) {
    std::vector<Change> terms;
    std::vector<Change> plan;
    for (size_t index = 0; index < std::min(driving.size(), statuses.size()); ++index) {
        const std::string& name = driving[index];
        const bool isUp = HasProcess(statuses[index]);
        const bool isEnding =
            static_cast<ProcessState>(statuses[index].state) == ProcessState::kTerminating;
        if (wanted.count(name) == 0 && isUp) {
            terms.push_back(Make(name, OptionType::TERM));
        } else if (wanted.count(name) > 0 && (!isUp || isEnding)) {
            plan.push_back(Make(name, OptionType::START));
        }
    }
    plan.insert(plan.begin(), terms.rbegin(), terms.rend());
    return plan;
}

}  // namespace GrpOwnerDaemon
