#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/portable/depend_graph_builder.h"

namespace {

using DependsMap = ParseAndDepend::DependsMap;
using Names = std::vector<std::string>;
using NameSet = std::set<std::string>;

std::string Name(size_t number) {
    return "a" + std::to_string(number);
}

// Pops a random free vertex until none is left; what is free must always be exactly the vertices
// that wait for no other one left, by `waitsFor`.
void Consume(DependGraph& graph, NameSet left, const DependsMap& waitsFor, std::mt19937& random) {
    while (!left.empty()) {
        NameSet expected;
        for (const std::string& name : left) {
            const NameSet& others = waitsFor.at(name);
            if (std::none_of(others.begin(), others.end(),
                             [&left](const std::string& other) { return left.count(other) > 0; })) {
                expected.insert(name);
            }
        }
        const NameSet free = graph.GetNoDependVertices();
        ASSERT_EQ(free, expected);
        ASSERT_FALSE(graph.IsEmpty());
        const auto next = std::next(free.begin(), static_cast<long>(random() % free.size()));
        graph.Pop(*next);
        graph.Pop(*next);  // harmless
        left.erase(*next);
    }
    EXPECT_TRUE(graph.IsEmpty());
    EXPECT_TRUE(graph.GetNoDependVertices().empty());
}

// A start takes along all that is needed; a termination only what was named, but in an order that
// passes through what lies between.
TEST(DependGraph, AgreesWithTheClosureOnRandomMaps) {
    for (uint32_t seed = 0; seed < 200 && !testing::Test::HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        DependsMap depends;
        DependsMap closure;
        DependsMap dependants;
        NameSet requested;
        NameSet needed;
        for (size_t i = 0, size = 1 + random() % 24; i < size; ++i) {
            const std::string name = Name(i);
            dependants[name];
            for (size_t j = 0; j < i; ++j) {
                if (random() % 5 == 0) {
                    depends[name].insert(Name(j));
                    closure[name].insert(Name(j));
                    closure[name].insert(closure[Name(j)].begin(), closure[Name(j)].end());
                }
            }
            depends[name];
            for (const std::string& below : closure[name]) {
                dependants[below].insert(name);
            }
            if (random() % 2 == 0) {
                requested.insert(name);
                needed.insert(name);
                needed.insert(closure[name].begin(), closure[name].end());
            }
        }
        Names unknown;
        Names names(requested.begin(), requested.end());
        names.emplace_back("nobody");
        DependGraph start = BuildStartGraph(depends, names, unknown);
        Consume(start, needed, depends, random);
        DependGraph term = BuildTermGraph(depends, names, unknown);
        Consume(term, requested, dependants, random);
        EXPECT_EQ(unknown, (Names{"nobody", "nobody"}));
    }
}

// Rings and names that nobody knows: no graph hangs, and what is popped out of turn is gone.
TEST(DependGraph, OddMapsNeitherHangNorFail) {
    const DependsMap cyclic = {
        {"a", {"b"}}, {"b", {"c"}}, {"c", {"b"}}, {"d", {"d"}}, {"e", {"gone"}}};
    const Names all = {"a", "b", "c", "d", "e", "e", "stranger"};
    for (const auto build : {BuildStartGraph, BuildTermGraph}) {
        Names unknown;
        DependGraph graph = build(cyclic, all, unknown);
        EXPECT_EQ(unknown, Names{"stranger"});
        EXPECT_EQ(graph.GetNoDependVertices().count("e"), 1U) << "what is unknown holds nobody up";
        for (const std::string& name : all) {
            graph.Pop(name);
        }
        EXPECT_TRUE(graph.IsEmpty() && graph.GetNoDependVertices().empty());
        EXPECT_TRUE(build(cyclic, {"b", "c"}, unknown).GetNoDependVertices().empty());
        EXPECT_TRUE(build(cyclic, {}, unknown).IsEmpty());
    }
}

}  // namespace
