#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/host.h"
#include "platform/manifest_service.h"

namespace GrpOwnerDaemon {

/// Which driving applications run in which system state.
using StateTable = std::map<int, std::set<std::string>>;

struct StateFile {
    StateTable states;  // empty when there are errors
    std::vector<GrpOwnerLinux::Diagnostic> diagnostics;
    bool isOk = false;
};

/// Reads a file of lines like "working: [camera, fusion]", each for a state by its name or number,
/// and checks it against the group: whatever a state needs is in it.
StateFile ReadStateFile(const std::string& path, const ParseAndDepend::MatchData& matchData,
                        const std::vector<ApplicationManifest>& manifests);

/// "WORKING (1)", or the number alone.
std::string StateName(int state);

}  // namespace GrpOwnerDaemon
