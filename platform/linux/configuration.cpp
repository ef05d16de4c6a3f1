// From the path of a start configuration to manifests or to all that is wrong with it.

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/linux/configuration_checks.h"
#include "platform/linux/configuration_reader.h"
#include "platform/linux/host.h"

namespace GrpOwnerLinux {

namespace {

std::vector<ApplicationManifest> Read(const SourceText& text,
                                      const ParseAndDepend::MatchData& matchData,
                                      Findings& findings) {
    const ConfigurationContent content = ReadConfiguration(text, matchData, findings);
    // Copied, not moved, and while all that reading has taken is there: what stays for long then
    // lies together, and the pages below it are given back.
    std::vector<ApplicationManifest> manifests;
    if (!findings.HasErrors()) {
        manifests.reserve(content.applications.size());
        for (const ApplicationEntry& entry : content.applications) {
            manifests.emplace_back(std::make_shared<const ManifestFields>(entry.fields));
        }
    }
    return manifests;
}

}  // namespace

bool Configuration::Ok() const {
    return std::none_of(diagnostics.begin(), diagnostics.end(), [](const Diagnostic& diagnostic) {
        return diagnostic.severity == Diagnostic::Severity::kError;
    });
}

Configuration LoadConfiguration(const std::string& path,
                                const ParseAndDepend::MatchData& matchData) {
    std::string bytes;
    std::string error;
    const bool isRead = ReadFile(path, bytes, error);
    const SourceText text(isRead ? std::move(bytes) : std::string());
    Findings findings(path, text);
    Configuration configuration;
    CheckLoadRecord(path, matchData, findings);
    if (isRead) {
        configuration.manifests = Read(text, matchData, findings);
    } else {
        findings.Error({}, "cannot read this file: " + error);
    }
    configuration.diagnostics = findings.Take();
    return configuration;
}

}  // namespace GrpOwnerLinux
