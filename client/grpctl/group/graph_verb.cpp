#include <unistd.h>

#include <cstdio>
#include <utility>

#include "client/grpctl/group/graph.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/host.h"

namespace GrpCtl {

namespace {

Graph FromFile(const std::string& path, const Options& options) {
    const GrpOwnerLinux::Configuration configuration =
        GrpOwnerLinux::LoadConfiguration(path, options.defines);
    if (!configuration.Ok()) {
        std::fputs(GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics).c_str(), stderr);
        throw Failure{kFailed, "this configuration has errors: " + path, "", ""};
    }
    return GraphOf(path, configuration.manifests);
}

Graph FromOwner(const Options& options) {
    if (!options.defines.empty()) {
        throw Failure{kWrongUsage, "--define goes with a file only", "",
                      "the owner's configuration is filled in as the owner has it"};
    }
    Session session(options);
    Group group = Group::Learn(session.Client());
    (void)group.GetDependencies();  // nothing to draw without them
    group.Refresh(session.Client(), options);
    return GraphOf(session.Facts().owner, group);
}

void ShowJson(const Graph& graph) {
    Json json = NewObject();
    json["title"] = graph.title;
    json["applications"] = Json::array();
    for (const auto& [name, node] : graph.nodes) {
        Json one{{"name", name}, {"dependsOn", node.needs}};
        if (node.manifest) {
            one["autostart"] = node.manifest->GetIsAutoBoot();
            one["template"] = node.manifest->GetIsDynamicPara();
        }
        if (node.state) {
            one["state"] = NameOf(*node.state);
            one["pid"] = node.pid > 0 ? Json(node.pid) : Json();
        }
        json["applications"].push_back(std::move(one));
    }
    PutJson(json);
}

}  // namespace

int RunGraph(const Options& options) {
    const Graph graph =
        options.operands.empty() ? FromOwner(options) : FromFile(options.operands.front(), options);
    if (options.graphFormat == "json" || options.format == Format::kJson) {
        ShowJson(graph);
    } else if (options.graphFormat == "dot") {
        Put(DotOf(graph));
    } else if (options.graphFormat == "mermaid") {
        Put(MermaidOf(graph));
    } else {
        Put(TreeOf(graph, Screen::Of(STDOUT_FILENO, options.color)));
    }
    return kDone;
}

}  // namespace GrpCtl
