#pragma once

#include <string>
#include <vector>

#include "platform/linux/application_entry.h"
#include "platform/linux/findings.h"
#include "platform/linux/yaml_node.h"
#include "platform/manifest_service.h"

namespace GrpOwnerLinux {

/// A start configuration while it is read: all that it says, and all that is wrong with it.
class ConfigurationFile {
public:
    ConfigurationFile(const std::string& path, const ParseAndDepend::MatchData& matchData);

    /// In the order of the file, the good and the bad.
    const std::vector<ApplicationEntry>& Applications() const { return applications_; }

    /// Whoever finds more adds it.
    Findings& Complaints() { return findings_; }

private:
    void Read(const ParseAndDepend::MatchData& matchData);

    std::string error_;
    const SourceText text_;
    Findings findings_;
    YamlTree tree_;
    std::vector<ApplicationEntry> applications_;
};

}  // namespace GrpOwnerLinux
