// From the path of a start configuration to manifests or to all that is wrong with it.

#include <algorithm>
#include <memory>

#include "platform/linux/configuration_reader.h"
#include "platform/linux/host.h"

namespace GrpOwnerLinux {

namespace {

std::vector<ApplicationManifest> ManifestsOf(ConfigurationFile& file) {
    // Copied, not moved, and while all that reading has taken is there: what stays for long then
    // lies together, and the pages below it are given back.
    std::vector<ApplicationManifest> manifests;
    if (!file.Complaints().HasErrors()) {
        manifests.reserve(file.Applications().size());
        for (const ApplicationEntry& entry : file.Applications()) {
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
    ConfigurationFile file(path, matchData);
    Configuration configuration;
    configuration.manifests = ManifestsOf(file);
    configuration.diagnostics = file.Complaints().Take();
    return configuration;
}

}  // namespace GrpOwnerLinux
