#include "daemons/grpownerd/state_plan.h"

#include <algorithm>
#include <map>

namespace GrpOwnerDaemon {

namespace {

using GrpOwnerClient::Change;
using GrpOwnerClient::Status;
using ProcMgr::OptionType;

// What the process manager says of a process in answer to a query. Anything else is no answer.
enum class ProcessState : uint32_t { kRunning = 0, kNotRunning = 1, kInBetween = 2 };

bool Is(const Status& status, ProcessState state) {
    return status.state == static_cast<uint32_t>(state);
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

bool AreSettled(const std::vector<Status>& statuses) {
    return std::none_of(statuses.begin(), statuses.end(),
                        [](const Status& status) { return Is(status, ProcessState::kInBetween); });
}

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
        if (wanted.count(name) == 0 && !Is(statuses[index], ProcessState::kNotRunning)) {
            terms.push_back(Make(name, OptionType::TERM));
        } else if (wanted.count(name) > 0 && !Is(statuses[index], ProcessState::kRunning)) {
            plan.push_back(Make(name, OptionType::START));
        }
    }
    plan.insert(plan.begin(), terms.rbegin(), terms.rend());
    return plan;
}

}  // namespace GrpOwnerDaemon
