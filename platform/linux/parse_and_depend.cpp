// The manifest service: the configuration that was read last, and the graphs of its dependencies.

#include <algorithm>
#include <cerrno>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "platform/linux/host.h"
#include "platform/linux/recorder.h"
#include "platform/log_service.h"
#include "platform/manifest_service.h"
#include "platform/portable/depend_graph_builder.h"

namespace {

using GrpOwnerLinux::Configuration;
using GrpOwnerLinux::Diagnostic;
using DependsMap = ParseAndDepend::DependsMap;

constexpr int kLogModule = 27;
constexpr int kLogWarning = 2;
constexpr int kLogError = 3;
constexpr char kMatchDataKey[] = "cfgmgr_env";
constexpr int32_t kHighestParameter = 2;

struct Prepared {
    std::string path;
    Configuration configuration;
};

/// The dependencies, and whichever of the two they are seen in.
struct Known {
    std::vector<ApplicationManifest> manifests;
    DependsMap map;
    Dependencies depends;
};

/// What the service knows. Any thread; the mutex guards all of it. What is known of dependencies
/// never changes itself, so that graphs are built without the lock.
struct Service {
    std::mutex mutex;
    ParseAndDepend::MatchData matchData;
    std::optional<Prepared> prepared;
    std::shared_ptr<const Known> known = std::make_shared<Known>();
    std::set<std::string> templates;
};

// Never destroyed: the platform's threads may ask until the process is gone.
Service& State() {
    static Service& service = *std::make_unique<Service>().release();
    return service;
}

std::shared_ptr<const Known> WhatIsKnown() {
    const std::lock_guard<std::mutex> lock(State().mutex);
    return State().known;
}

void LogLines(int level, std::string_view text) {
    while (!text.empty()) {
        const std::string line(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (!line.empty()) {
            DlogInner(kLogModule, level, "%s", line.c_str());
        }
    }
}

// Each finding at its own level.
void Log(const std::vector<Diagnostic>& diagnostics) {
    for (const Diagnostic& diagnostic : diagnostics) {
        const bool isError = diagnostic.severity == Diagnostic::Severity::kError;
        const int level = isError ? kLogError : kLogWarning;
        if (CheckLogLevel(kLogModule, level) == 1) {
            LogLines(level, GrpOwnerLinux::RenderDiagnostics({diagnostic}));
        }
    }
}

void Remember(const std::vector<ApplicationManifest>& manifests) {
    auto known = std::make_shared<Known>();
    known->manifests = manifests;
    known->depends = Dependencies(known->manifests);
    std::set<std::string> templates;
    for (const ApplicationManifest& manifest : manifests) {
        if (manifest.GetIsDynamicPara()) {
            templates.insert(manifest.GetAppName());
        }
    }
    const std::lock_guard<std::mutex> lock(State().mutex);
    State().known = std::move(known);
    State().templates = std::move(templates);
}

// Once: from then on the file may have changed.
Configuration TakePreparedOrLoad(const std::string& path,
                                 const ParseAndDepend::MatchData& matchData) {
    std::optional<Prepared> prepared;
    bool isSame = false;
    {
        const std::lock_guard<std::mutex> lock(State().mutex);
        prepared.swap(State().prepared);
        isSame = prepared && prepared->path == path && State().matchData == matchData;
    }
    return isSame ? std::move(prepared->configuration)
                  : GrpOwnerLinux::LoadConfiguration(path, matchData);
}

}  // namespace

void GrpOwnerLinux::PrepareConfiguration(const std::string& path, Configuration configuration) {
    const std::lock_guard<std::mutex> lock(State().mutex);
    State().prepared = Prepared{path, std::move(configuration)};
}

void GrpOwnerLinux::SetMatchData(const ParseAndDepend::MatchData& matchData) {
    const std::lock_guard<std::mutex> lock(State().mutex);
    State().matchData = matchData;
}

ParseAndDepend& ParseAndDepend::GetInstance() {
    static ParseAndDepend instance;
    return instance;
}

int ParseAndDepend::ParseToReplaceData(ParamType /*type*/, const std::string& key,
                                       MatchData& matchData) {
    const auto record =
        GrpOwnerLinux::RecordAsk("replacements", [&](auto& fields) { fields(key); });
    if (key != kMatchDataKey) {
        DlogInner(kLogModule, kLogError, "there are no replacements under the key %s", key.c_str());
        return record.Result(-ENOENT);
    }
    {
        const std::lock_guard<std::mutex> lock(State().mutex);
        matchData = State().matchData;
    }
    record.End([&](auto& fields) { fields(0).Map(matchData); });
    return 0;
}

int ParseAndDepend::ParseYaml(ParamType /*type*/, const std::string& path,
                              std::vector<ApplicationManifest>& manifests,
                              const MatchData& matchData) {
    const auto record =
        GrpOwnerLinux::RecordAsk("configuration", [&](auto& fields) { fields(path); });
    Configuration configuration = TakePreparedOrLoad(path, matchData);
    Log(configuration.diagnostics);
    if (!configuration.Ok()) {
        return record.Result(-EINVAL);
    }
    Remember(configuration.manifests);
    manifests = std::move(configuration.manifests);
    record.End([&](auto& fields) {
        fields(0)(manifests.size());
        for (const ApplicationManifest& manifest : manifests) {
            fields.Manifest(manifest.Fields());
        }
    });
    return 0;
}

void ParseAndDepend::SetApplicationDependsMap(const DependsMap& depends) {
    auto known = std::make_shared<Known>();
    known->map = depends;
    known->depends = Dependencies(known->map);
    const std::lock_guard<std::mutex> lock(State().mutex);
    State().known = std::move(known);
}

ParseAndDepend::DependsMap ParseAndDepend::GetApplicationDependsMap() const {
    return WhatIsKnown()->depends.ToMap();
}

bool ParseAndDepend::GetStartGraphWithErrApp(const std::vector<std::string>& names,
                                             DependGraph& graph,
                                             std::vector<std::string>& unknown) const {
    graph = BuildStartGraph(WhatIsKnown()->depends, names, unknown);
    return true;
}

bool ParseAndDepend::GetTermGraphWithErrApp(const std::vector<std::string>& names,
                                            DependGraph& graph,
                                            std::vector<std::string>& unknown) const {
    graph = BuildTermGraph(WhatIsKnown()->depends, names, unknown);
    return true;
}

bool ParseAndDepend::IsDynamicParaMatch(
    const std::string& name, const std::map<int32_t, std::vector<std::string>>& parameters) const {
    if (!parameters.empty() &&
        (parameters.begin()->first < 0 || parameters.rbegin()->first > kHighestParameter)) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(State().mutex);
    return State().templates.count(name) > 0;
}
