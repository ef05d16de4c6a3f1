#include "platform/portable/depend_graph_builder.h"

#include <utility>

#include "platform/portable/depend_graph_body.h"

namespace {

std::set<std::string> KnownNames(const Dependencies& depends, const std::vector<std::string>& names,
                                 std::vector<std::string>& unknown) {
    std::set<std::string> known;
    for (const std::string& name : names) {
        if (depends.Find(name) != nullptr) {
            known.insert(name);
        } else {
            unknown.push_back(name);
        }
    }
    return known;
}

// What can be reached from `roots`, along the dependencies.
std::vector<const Dependencies::Entry*> Reach(const Dependencies& depends,
                                              const std::set<std::string>& roots) {
    std::set<std::string> seen(roots);
    std::vector<const Dependencies::Entry*> reached;
    std::vector<const Dependencies::Entry*> toVisit;
    toVisit.reserve(roots.size());
    for (const std::string& root : roots) {
        toVisit.push_back(depends.Find(root));
    }
    while (!toVisit.empty()) {
        const Dependencies::Entry* const entry = toVisit.back();
        toVisit.pop_back();
        reached.push_back(entry);
        for (const std::string& dependency : *entry->depends) {
            const Dependencies::Entry* const next = depends.Find(dependency);
            if (next != nullptr && seen.insert(dependency).second) {
                toVisit.push_back(next);
            }
        }
    }
    return reached;
}

}  // namespace

DependGraph BuildStartGraph(const Dependencies& depends, const std::vector<std::string>& names,
                            std::vector<std::string>& unknown) {
    auto body = std::make_unique<DependGraph::Body>();
    for (const Dependencies::Entry* const entry :
         Reach(depends, KnownNames(depends, names, unknown))) {
        const size_t application = body->AddVertex(*entry->name, false);
        for (const std::string& dependency : *entry->depends) {
            if (depends.Find(dependency) != nullptr) {
                body->AddEdge(body->AddVertex(dependency, false), application);
            }
        }
    }
    body->Seal();
    return DependGraph(std::move(body));
}

DependGraph BuildTermGraph(const Dependencies& depends, const std::vector<std::string>& names,
                           std::vector<std::string>& unknown) {
    auto body = std::make_unique<DependGraph::Body>();
    const std::set<std::string> requested = KnownNames(depends, names, unknown);
    for (const Dependencies::Entry* const entry : Reach(depends, requested)) {
        const size_t application =
            body->AddVertex(*entry->name, requested.count(*entry->name) == 0);
        for (const std::string& dependency : *entry->depends) {
            if (depends.Find(dependency) != nullptr) {
                const bool hidden = requested.count(dependency) == 0;
                body->AddEdge(application, body->AddVertex(dependency, hidden));
            }
        }
    }
    body->Seal();
    return DependGraph(std::move(body));
}
