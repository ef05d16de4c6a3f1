#pragma once
// The platform's manifest and dependency service: reads the start configuration and knows which
// application depends on which.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/export.h"

struct ManifestFields;  // the service's own record of one application

/// What the start configuration says of one application. An immutable value, cheap to copy, safe to
/// read on any thread.
class GRPOWNER_PLATFORM_EXPORT ApplicationManifest {
public:
    ApplicationManifest();
    explicit ApplicationManifest(std::shared_ptr<const ManifestFields> fields);

    const std::string& GetAppName() const;
    const std::string& GetBinPath() const;
    uint32_t GetUid() const;
    uint32_t GetGid() const;
    const std::vector<std::string>& GetArguments() const;
    const std::string& GetRestart() const;
    bool GetIsSo() const;
    const std::string& GetSoName() const;
    const std::string& GetSoPath() const;
    const std::string& GetProcessBindPath() const;
    uint32_t GetTermTimeOut() const;  // milliseconds
    bool GetIsForceTerm() const;
    bool GetIsRosNode() const;
    bool GetIsReporting() const;
    const std::vector<uint32_t>& GetCoreAffinity() const;
    const std::string& GetResGroupName() const;
    const std::set<std::string>& GetDependList() const;
    bool GetIsAutoBoot() const;
    const std::map<std::string, std::string>& GetEnvArgv() const;
    bool GetIsSetRtPrio() const;
    bool GetHeartBeatSwitch() const;
    int32_t GetNodeType() const;
    bool GetIsDynamicPara() const;

    /// The record behind the accessors: for the service's own side, never for the core.
    const ManifestFields& Fields() const;

private:
    std::shared_ptr<const ManifestFields> fields_;
};

/// A dependency graph that is consumed vertex by vertex. A value; the owner guards it.
class GRPOWNER_PLATFORM_EXPORT DependGraph {
public:
    struct Body;  // the service's own

    DependGraph();
    explicit DependGraph(std::unique_ptr<Body> body);
    ~DependGraph();
    DependGraph(DependGraph&&) noexcept;
    DependGraph& operator=(DependGraph&&) noexcept;

    /// The vertices that wait for no other. A vertex is offered again until it is popped.
    std::set<std::string> GetNoDependVertices() const;

    /// Removes a vertex and the edges to it; harmless when it is not in the graph.
    void Pop(const std::string& name);

    /// Whether no vertex is left.
    bool IsEmpty() const;

private:
    std::unique_ptr<Body> body_;
};

/// The service's single instance. All operations may be called on any thread.
class GRPOWNER_PLATFORM_EXPORT ParseAndDepend {
public:
    /// The service's selector of what is parsed; the core passes 0 to ParseYaml and 1 to
    /// ParseToReplaceData.
    using ParamType = int;
    using MatchData = std::map<std::string, std::string>;
    using DependsMap = std::map<std::string, std::set<std::string>>;

    static ParseAndDepend& GetInstance();

    /// Fills in the replacement pairs that the start configuration is read with.
    /// @return 0 on success
    int ParseToReplaceData(ParamType type, const std::string& key, MatchData& matchData);

    /// Reads the start configuration and, when it is good, makes its dependencies the current
    /// ones. All or nothing: on failure neither `manifests` nor the dependency map change.
    /// @return 0 on success
    int ParseYaml(ParamType type, const std::string& path,
                  std::vector<ApplicationManifest>& manifests, const MatchData& matchData);

    void SetApplicationDependsMap(const DependsMap& depends);
    DependsMap GetApplicationDependsMap() const;

    /// The start graph of the requested names and all that they depend on, transitively: a vertex
    /// is free when nothing that it depends on is left. Names that the map does not know go to
    /// `unknown` and are no failure.
    /// @return whether the graph was made
    bool GetStartGraphWithErrApp(const std::vector<std::string>& names, DependGraph& graph,
                                 std::vector<std::string>& unknown) const;

    /// The term graph of the requested known names only, ordered by transitive dependency: a vertex
    /// is free when nothing in the graph that depends on it, directly or through others, is left.
    bool GetTermGraphWithErrApp(const std::vector<std::string>& names, DependGraph& graph,
                                std::vector<std::string>& unknown) const;

    /// Whether `name` is a template and accepts parameters of these indexes (0 to 2).
    bool IsDynamicParaMatch(const std::string& name,
                            const std::map<int32_t, std::vector<std::string>>& parameters) const;
};
