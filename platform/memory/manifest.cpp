#include <memory>
#include <mutex>
#include <utility>

#include "platform/manifest_service.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/recorder.h"
#include "platform/portable/depend_graph_builder.h"

namespace GrpOwnerMemory {

namespace {

using Lock = std::lock_guard<std::mutex>;

struct Manifests {
    std::mutex mutex;
    Script<ManifestCall> script;
    std::vector<ManifestFields> configuration;
    ParseAndDepend::MatchData matchData;
    ParseAndDepend::DependsMap depends;
    std::vector<ParseCall> calls;
    std::function<void()> parseHook;
};

Manifests& State() {
    return Immortal<Manifests>();
}

std::optional<int> Begin(ManifestCall call) {
    const Lock lock(State().mutex);
    return State().script.Next(call);
}

}  // namespace

void SetConfiguration(const std::vector<ManifestFields>& manifests) {
    const Lock lock(State().mutex);
    State().configuration = manifests;
}

void SetMatchData(const ParseAndDepend::MatchData& matchData) {
    const Lock lock(State().mutex);
    State().matchData = matchData;
}

void ScriptManifest(ManifestCall call, int result, unsigned times) {
    const Lock lock(State().mutex);
    State().script.Add(call, result, times);
}

std::vector<ParseCall> ParseCalls() {
    const Lock lock(State().mutex);
    return State().calls;
}

void SetParseHook(std::function<void()> hook) {
    const Lock lock(State().mutex);
    State().parseHook = std::move(hook);
}

void ResetManifest() {
    Manifests& manifests = State();
    const Lock lock(manifests.mutex);
    manifests.script = {};
    manifests.configuration.clear();
    manifests.matchData.clear();
    manifests.depends.clear();
    manifests.calls.clear();
    manifests.parseHook = nullptr;
}

}  // namespace GrpOwnerMemory

using namespace GrpOwnerMemory;

ParseAndDepend& ParseAndDepend::GetInstance() {
    static ParseAndDepend instance;
    return instance;
}

int ParseAndDepend::ParseToReplaceData(ParamType type, const std::string& key,
                                       MatchData& matchData) {
    if (const auto decided = AskCallHook("ParseToReplaceData", key)) {
        return *decided;
    }
    const std::optional<int> failure = Begin(ManifestCall::kReplaceData);
    const Lock lock(State().mutex);
    State().calls.push_back({ManifestCall::kReplaceData, type, key, {}});
    if (failure) {
        return *failure;
    }
    matchData = State().matchData;
    return 0;
}

int ParseAndDepend::ParseYaml(ParamType type, const std::string& path,
                              std::vector<ApplicationManifest>& manifests,
                              const MatchData& matchData) {
    if (const auto decided = AskCallHook("ParseYaml", path)) {
        return *decided;
    }
    const std::optional<int> failure = Begin(ManifestCall::kParseYaml);
    std::function<void()> hook;
    {
        const Lock lock(State().mutex);
        State().calls.push_back({ManifestCall::kParseYaml, type, path, matchData});
        hook = State().parseHook;
    }
    if (hook) {
        hook();
    }
    if (failure) {
        return *failure;
    }
    const Lock lock(State().mutex);
    manifests.clear();
    State().depends.clear();
    for (const ManifestFields& fields : State().configuration) {
        manifests.emplace_back(std::make_shared<const ManifestFields>(fields));
        State().depends[fields.appName] = fields.depends;
    }
    return 0;
}

void ParseAndDepend::SetApplicationDependsMap(const DependsMap& depends) {
    const Lock lock(State().mutex);
    State().depends = depends;
}

ParseAndDepend::DependsMap ParseAndDepend::GetApplicationDependsMap() const {
    const Lock lock(State().mutex);
    return State().depends;
}

bool ParseAndDepend::GetStartGraphWithErrApp(const std::vector<std::string>& names,
                                             DependGraph& graph,
                                             std::vector<std::string>& unknown) const {
    if (Begin(ManifestCall::kStartGraph)) {
        return false;
    }
    const Lock lock(State().mutex);
    graph = BuildStartGraph(State().depends, names, unknown);
    return true;
}

bool ParseAndDepend::GetTermGraphWithErrApp(const std::vector<std::string>& names,
                                            DependGraph& graph,
                                            std::vector<std::string>& unknown) const {
    if (Begin(ManifestCall::kTermGraph)) {
        return false;
    }
    const Lock lock(State().mutex);
    graph = BuildTermGraph(State().depends, names, unknown);
    return true;
}

bool ParseAndDepend::IsDynamicParaMatch(
    const std::string& name, const std::map<int32_t, std::vector<std::string>>& parameters) const {
    constexpr int32_t kHighestIndex = 2;
    if (!parameters.empty() &&
        (parameters.begin()->first < 0 || parameters.rbegin()->first > kHighestIndex)) {
        return false;
    }
    const Lock lock(State().mutex);
    for (const ManifestFields& fields : State().configuration) {
        if (fields.appName == name) {
            return fields.isDynamicPara;
        }
    }
    return false;
}
