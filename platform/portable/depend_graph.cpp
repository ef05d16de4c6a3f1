#include "platform/portable/depend_graph_body.h"

size_t DependGraph::Body::AddVertex(const std::string& name, bool hidden) {
    const auto [entry, isNew] = numbers.emplace(name, vertices.size());
    if (isNew) {
        vertices.push_back({&entry->first, {}, 0, hidden, false});
        visibleLeft += hidden ? 0 : 1;
    }
    return entry->second;
}

void DependGraph::Body::AddEdge(size_t from, size_t to) {
    vertices[from].waiting.push_back(to);
    ++vertices[to].waitsFor;
}

void DependGraph::Body::Seal() {
    std::vector<size_t> hiddenAndFree;
    for (size_t number = 0; number < vertices.size(); ++number) {
        if (vertices[number].waitsFor > 0) {
            continue;
        }
        if (vertices[number].hidden) {
            hiddenAndFree.push_back(number);
        } else {
            free.insert(*vertices[number].name);
        }
    }
    for (const size_t number : hiddenAndFree) {
        Remove(number);
    }
}

// A vertex may be popped before its turn; it then no longer counts down those that wait for it a
// second time, since it is popped once only.
void DependGraph::Body::Remove(size_t first) {
    std::vector<size_t> toRemove{first};
    while (!toRemove.empty()) {
        Vertex& vertex = vertices[toRemove.back()];
        toRemove.pop_back();
        if (vertex.popped) {
            continue;
        }
        vertex.popped = true;
        if (!vertex.hidden) {
            --visibleLeft;
            free.erase(*vertex.name);
        }
        for (const size_t waiting : vertex.waiting) {
            Vertex& next = vertices[waiting];
            if (--next.waitsFor > 0 || next.popped) {
                continue;
            }
            if (next.hidden) {
                toRemove.push_back(waiting);
            } else {
                free.insert(*next.name);
            }
        }
    }
}

DependGraph::DependGraph() = default;
DependGraph::DependGraph(std::unique_ptr<Body> body) : body_(std::move(body)) {}
DependGraph::~DependGraph() = default;
DependGraph::DependGraph(DependGraph&&) noexcept = default;
DependGraph& DependGraph::operator=(DependGraph&&) noexcept = default;

std::set<std::string> DependGraph::GetNoDependVertices() const {
    return body_ == nullptr ? std::set<std::string>() : body_->free;
}

void DependGraph::Pop(const std::string& name) {
    if (body_ == nullptr) {
        return;
    }
    const auto entry = body_->numbers.find(name);
    if (entry != body_->numbers.end() && !body_->vertices[entry->second].hidden) {
        body_->Remove(entry->second);
    }
    if (body_->visibleLeft == 0) {
        body_.reset();  // a batch outlives its start
    }
}

bool DependGraph::IsEmpty() const {
    return body_ == nullptr || body_->visibleLeft == 0;
}
