#include "client/grpctl/group/graph.h"

#include <utility>

namespace GrpCtl {

Graph GraphOf(const std::string& title, const std::vector<ApplicationManifest>& manifests) {
    Graph graph;
    graph.title = title;
    for (const ApplicationManifest& manifest : manifests) {
        GraphNode& node = graph.nodes[manifest.GetAppName()];
        node.needs = manifest.GetDependList();
        node.manifest = manifest;
    }
    return graph;
}

Graph GraphOf(const std::string& title, const Group& group) {
    Graph graph = GraphOf(title, group.Manifests());
    for (const Application& application : group.Applications()) {
        GraphNode& node = graph.nodes[application.name];
        node.state = application.state;
        node.pid = application.pid;
    }
    return graph;
}

}  // namespace GrpCtl
