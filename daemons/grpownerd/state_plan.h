#pragma once

#include <set>
#include <string>
#include <vector>

#include "client/ss_client.h"
#include "platform/manifest_service.h"

namespace GrpOwnerDaemon {

/// The applications that a system state has a say about: neither those that start with the group
/// nor templates. Dependencies come before what depends on them.
std::vector<std::string> DrivingApplications(const std::vector<ApplicationManifest>& manifests);

/// Whether nobody is just being started or stopped: of such a one cannot be told what to do.
bool AreSettled(const std::vector<GrpOwnerClient::Status>& statuses);

/// What brings the driving applications to where exactly the wanted ones run: terminations,
/// dependants first, then starts, dependencies first. Any piece of it, front to back, is a change
/// set that makes sense of its own.
/// @param driving in the order of DrivingApplications
/// @param statuses one for each of them, in that order
std::vector<GrpOwnerClient::Change> PlanState(const std::vector<std::string>& driving,
                                              const std::vector<GrpOwnerClient::Status>& statuses,
                                              const std::set<std::string>& wanted);

}  // namespace GrpOwnerDaemon
