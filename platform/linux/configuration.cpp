// From the path of a start configuration to manifests or to all that is wrong with it.

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/linux/configuration_checks.h"
#include "platform/linux/configuration_reader.h"
#include "platform/linux/host.h"
#include "platform/linux/yaml_reader.h"

namespace GrpOwnerLinux {

namespace {

std::vector<ApplicationEntry> Read(const SourceText& text,
                                   const ParseAndDepend::MatchData& matchData, Findings& findings) {
    Span place;
    std::string message;
    if (text.FindBadCharacter(place, message)) {
        findings.Error(place, message, "save the file as UTF-8 text");
        return {};
    }
    const YamlTree tree = ReadYaml(text, findings);
    ValueReader values(findings, matchData);
    std::vector<ApplicationEntry> entries = ReadApplications(tree, values);
    CheckDependencies(entries, tree.isComplete, findings);
    CheckRecordSizes(entries, findings);
    return entries;
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
    std::vector<ApplicationEntry> entries;
    CheckLoadRecord(path, matchData, findings);
    if (isRead) {
        entries = Read(text, matchData, findings);
    } else {
        findings.Error({}, "cannot read this file: " + error);
    }
    Configuration configuration;
    if (!findings.HasErrors()) {
        // Copied, not moved: what they stay for would keep the pages of all that reading has taken.
        configuration.manifests.reserve(entries.size());
        for (const ApplicationEntry& entry : entries) {
            configuration.manifests.emplace_back(
                std::make_shared<const ManifestFields>(entry.fields));
        }
    }
    configuration.diagnostics = findings.Take();
    return configuration;
}

}  // namespace GrpOwnerLinux
