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

// What each name depends on, directly or through others: by repetition, slow and plain.
DependsMap Closure(DependsMap depends) {
    for (bool isChanged = true; isChanged;) {
        isChanged = false;
        for (auto& [name, below] : depends) {
            const NameSet before = below;
            for (const std::string& next : before) {
                below.insert(depends[next].begin(), depends[next].end());
            }
            isChanged |= below.size() != before.size();
        }
    }
    return depends;
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

TEST(DependGraph, AgreesWithTheClosureOnRandomMaps) {
    for (uint32_t seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const size_t size = 1 + random() % 24;
        DependsMap depends;
        NameSet requested;
        for (size_t i = 0; i < size; ++i) {
            NameSet& below = depends[Name(i)];
            for (size_t j = 0; j < i; ++j) {
                if (random() % 5 == 0) {
                    below.insert(Name(j));
                }
            }
            if (random() % 2 == 0) {
                requested.insert(Name(i));
            }
        }
        const DependsMap closure = Closure(depends);
        DependsMap dependants;
        NameSet needed = requested;
        for (const auto& [name, below] : closure) {
            dependants[name];
            for (const std::string& other : below) {
                dependants[other].insert(name);
            }
            if (requested.count(name) > 0) {
                needed.insert(below.begin(), below.end());
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
        if (HasFatalFailure()) {
            return;
        }
    }
}

// Ten thousand applications are nothing special: neither the stack nor the time ends.
TEST(DependGraph, LargeChainsAndFans) {
    constexpr size_t kSize = 10000;
    DependsMap chain;
    DependsMap fan = {{Name(0), {}}};
    Names all;
    for (size_t i = 0; i < kSize; ++i) {
        chain[Name(i)] = i == 0 ? NameSet{} : NameSet{Name(i - 1)};
        fan[Name(i)] = i == 0 ? NameSet{} : NameSet{Name(0)};
        all.push_back(Name(i));
    }
    Names unknown;
    DependGraph start = BuildStartGraph(chain, {Name(kSize - 1)}, unknown);
    DependGraph term = BuildTermGraph(chain, all, unknown);
    for (size_t i = 0; i < kSize; ++i) {
        ASSERT_EQ(start.GetNoDependVertices(), NameSet{Name(i)});
        start.Pop(Name(i));
        ASSERT_EQ(term.GetNoDependVertices(), NameSet{Name(kSize - 1 - i)});
        term.Pop(Name(kSize - 1 - i));
    }
    EXPECT_TRUE(start.IsEmpty() && term.IsEmpty());
    // Only the ends are asked for: order passes through all that lies between.
    DependGraph ends = BuildTermGraph(chain, {Name(0), Name(kSize - 1)}, unknown);
    EXPECT_EQ(ends.GetNoDependVertices(), NameSet{Name(kSize - 1)});
    ends.Pop(Name(kSize - 1));
    EXPECT_EQ(ends.GetNoDependVertices(), NameSet{Name(0)});
    DependGraph wide = BuildStartGraph(fan, all, unknown);
    wide.Pop(Name(0));
    EXPECT_EQ(wide.GetNoDependVertices().size(), kSize - 1);
}

TEST(DependGraph, OddMapsNeitherHangNorFail) {
    const DependsMap cyclic = {
        {"a", {"b"}}, {"b", {"c"}}, {"c", {"b"}}, {"d", {"d"}}, {"e", {"gone"}}};
    const Names all = {"a", "b", "c", "d", "e", "e"};
    Names unknown;
    for (const auto build : {BuildStartGraph, BuildTermGraph}) {
        DependGraph graph = build(cyclic, all, unknown);
        EXPECT_EQ(graph.GetNoDependVertices().count("e"), 1U) << "what is unknown holds nobody up";
        for (const std::string& name : all) {  // out of turn
            graph.Pop(name);
        }
        graph.Pop("stranger");
        EXPECT_TRUE(graph.IsEmpty() && graph.GetNoDependVertices().empty());
    }
    EXPECT_TRUE(BuildTermGraph(cyclic, {"b", "c"}, unknown).GetNoDependVertices().empty());
    EXPECT_FALSE(BuildTermGraph(cyclic, {"a", "d"}, unknown).IsEmpty());
    EXPECT_TRUE(BuildStartGraph(cyclic, {}, unknown).IsEmpty());
    EXPECT_TRUE(unknown.empty());
    DependGraph none;
    none.Pop("a");
    EXPECT_TRUE(none.IsEmpty() && none.GetNoDependVertices().empty());
}

}  // namespace
