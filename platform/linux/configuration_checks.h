#pragma once

#include <string>
#include <vector>

#include "platform/linux/application_entry.h"
#include "platform/linux/findings.h"
#include "platform/manifest_service.h"

namespace GrpOwnerLinux {

/// What is wrong between applications: unknown dependencies, cycles, one that starts with the group
/// and needs one that does not.
/// @param isWholeFile false when more applications may stand behind what could be read
void CheckDependencies(const std::vector<ApplicationEntry>& entries, bool isWholeFile,
                       Findings& findings);

/// Whether each application can be asked for in one record to the process manager.
void CheckRecordSizes(const std::vector<ApplicationEntry>& entries, Findings& findings);

/// Whether the process manager can be told of this file.
void CheckLoadRecord(const std::string& path, const ParseAndDepend::MatchData& matchData,
                     Findings& findings);

}  // namespace GrpOwnerLinux
