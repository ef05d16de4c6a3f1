#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/grpctl/group/group.h"
#include "client/grpctl/text/screen.h"

namespace GrpCtl {

/// An application in a picture of who needs whom.
struct GraphNode {
    Names needs;
    std::optional<ApplicationManifest> manifest;  // nothing: the configuration lacks it
    std::optional<AppState> state;                // nothing: no owner was asked
    int pid = -1;
};

/// Sorted by name, so that the same group gives the same picture.
struct Graph {
    std::string title;
    std::map<std::string, GraphNode> nodes;
};

Graph GraphOf(const std::string& title, const std::vector<ApplicationManifest>& manifests);
Graph GraphOf(const std::string& title, const Group& group);

/// Below each application what it needs. What has been drawn is only mentioned again; what lies too
/// deep for a line goes on at the margin below.
std::string TreeOf(const Graph& graph, const Screen& screen);

/// For programs that draw. An arrow leads from an application to what it needs.
std::string DotOf(const Graph& graph);
std::string MermaidOf(const Graph& graph);

}  // namespace GrpCtl
