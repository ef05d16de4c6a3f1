#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/linux/host.h"

namespace GrpOwnerTest {

/// A configuration file in a folder of its own, which goes with it.
class ConfigurationFile {
public:
    explicit ConfigurationFile(const std::string& text = {}) {
        char name[] = "/tmp/grpowner-manifest-XXXXXX";
        folder_ = mkdtemp(name);
        Write(text);
    }
    ConfigurationFile(const ConfigurationFile&) = delete;
    ConfigurationFile& operator=(const ConfigurationFile&) = delete;
    ~ConfigurationFile() { std::filesystem::remove_all(folder_); }

    std::string Path() const { return folder_ / "group.yaml"; }
    void Write(const std::string& text) {
        // Some file systems wait for the disk when a file is emptied and written again.
        std::filesystem::remove(Path());
        std::ofstream(Path(), std::ios::binary) << text;
    }

    GrpOwnerLinux::Configuration Load(const ParseAndDepend::MatchData& matchData = {}) const {
        return GrpOwnerLinux::LoadConfiguration(Path(), matchData);
    }

private:
    std::filesystem::path folder_;
};

/// "line:column: message | help" of each finding.
inline std::string Brief(const GrpOwnerLinux::Configuration& configuration) {
    std::string text;
    for (const auto& found : configuration.diagnostics) {
        const bool isError = found.severity == GrpOwnerLinux::Diagnostic::Severity::kError;
        text += std::to_string(found.line) + ":" + std::to_string(found.column) +
                (isError ? ": " : ": warning: ") + found.message +
                (found.help.empty() ? "" : " | ") + found.help + "\n";
    }
    return text;
}

}  // namespace GrpOwnerTest
