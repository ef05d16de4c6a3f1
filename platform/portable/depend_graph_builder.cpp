#include "platform/portable/depend_graph_builder.h"

#include <utility>

#include "platform/portable/depend_graph_body.h"

namespace {

using DependsMap = ParseAndDepend::DependsMap;

std::set<std::string> KnownNames(const DependsMap& depends, const std::vector<std::string>& names,
                                 std::vector<std::string>& unknown) {
    std::set<std::string> known;
    for (const std::string& name : names) {
        if (depends.count(name) > 0) {
            known.insert(name);
        } else {
            unknown.push_back(name);
        }
    }
    return known;
}

// The part of the map that can be reached from `roots`, along the dependencies.
std::vector<DependsMap::const_iterator> Reach(const DependsMap& depends,
                                              const std::set<std::string>& roots) {
    std::set<std::string> seen(roots);
    std::vector<DependsMap::const_iterator> reached;
    std::vector<DependsMap::const_iterator> toVisit;
    toVisit.reserve(roots.size());
    for (const std::string& root : roots) {
        toVisit.push_back(depends.find(root));
    }
    while (!toVisit.empty()) {
        const auto entry = toVisit.back();
        toVisit.pop_back();
        reached.push_back(entry);
        for (const std::string& dependency : entry->second) {
            const auto next = depends.find(dependency);
            if (next != depends.end() && seen.insert(dependency).second) {
                toVisit.push_back(next);
            }
        }
    }
    return reached;
}

}  // namespace

DependGraph BuildStartGraph(const DependsMap& depends, const std::vector<std::string>& names,
                            std::vector<std::string>& unknown) {
    auto body = std::make_unique<DependGraph::Body>();
    for (const auto& entry : Reach(depends, KnownNames(depends, names, unknown))) {
        const size_t application = body->AddVertex(entry->first, false);
        for (const std::string& dependency : entry->second) {
            if (depends.count(dependency) > 0) {
                body->AddEdge(body->AddVertex(dependency, false), application);
            }
        }
    }
    body->Seal();
    return DependGraph(std::move(body));
}

DependGraph BuildTermGraph(const DependsMap& depends, const std::vector<std::string>& names,
                           std::vector<std::string>& unknown) {
    auto body = std::make_unique<DependGraph::Body>();
    const std::set<std::string> requested = KnownNames(depends, names, unknown);
    for (const auto& entry : Reach(depends, requested)) {
        const size_t application =
            body->AddVertex(entry->first, requested.count(entry->first) == 0);
        for (const std::string& dependency : entry->second) {
            if (depends.count(dependency) > 0) {
                const bool hidden = requested.count(dependency) == 0;
                body->AddEdge(application, body->AddVertex(dependency, hidden));
            }
        }
    }
    body->Seal();
    return DependGraph(std::move(body));
}
