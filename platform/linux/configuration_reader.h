#pragma once

#include <vector>

#include "platform/linux/application_entry.h"
#include "platform/linux/findings.h"
#include "platform/linux/yaml_node.h"
#include "platform/manifest_service.h"

namespace GrpOwnerLinux {

/// What a start configuration says.
struct ConfigurationContent {
    std::vector<ApplicationEntry> applications;  // in the order of the file, the good and the bad
    YamlTree tree;                               // what they were read from
};

/// Reads a start configuration and finds all that is wrong with it.
ConfigurationContent ReadConfiguration(const SourceText& text,
                                       const ParseAndDepend::MatchData& matchData,
                                       Findings& findings);

}  // namespace GrpOwnerLinux
