#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/manifest_service.h"

/// The vertices of a graph, by number. A hidden vertex only passes order on: it is popped by itself
/// as soon as it waits for nothing and is never offered.
struct __attribute__((visibility("hidden"))) DependGraph::Body {
    struct Vertex {
        const std::string* name = nullptr;  // points into `numbers`
        std::vector<size_t> waiting;        // those that wait for this one
        size_t waitsFor = 0;                // how many it still waits for
        bool hidden = false;
        bool popped = false;
    };

    size_t AddVertex(const std::string& name, bool hidden);
    void AddEdge(size_t from, size_t to);  // `to` waits for `from`
    void Seal();                           // after the last edge
    void Remove(size_t number);            // and the hidden ones that become free by it

    std::unordered_map<std::string, size_t> numbers;
    std::vector<Vertex> vertices;
    std::set<std::string> free;  // visible, waiting for nothing, not popped
    size_t visibleLeft = 0;
};
