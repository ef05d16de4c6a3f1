#include <gtest/gtest.h>

#include "platform/portable/depend_graph_builder.h"

namespace {

using DependsMap = ParseAndDepend::DependsMap;
using Names = std::vector<std::string>;

// A start takes along what is needed; a termination has an order that passes through what lies
// between.
TEST(DependGraph, PassesThroughWhatWasNotAskedFor) {
    const DependsMap chain = {{"top", {"mid"}}, {"mid", {"low"}}, {"low", {}}};
    Names unknown;
    EXPECT_EQ(BuildStartGraph(chain, {"top"}, unknown).GetNoDependVertices().count("low"), 1U);
    DependGraph graph = BuildTermGraph(chain, {"low", "top"}, unknown);
    for (const char* const name : {"top", "low"}) {
        EXPECT_EQ(graph.GetNoDependVertices(), std::set<std::string>{name});
        graph.Pop(name);
        graph.Pop(name);  // harmless
    }
    EXPECT_TRUE(graph.IsEmpty());
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
