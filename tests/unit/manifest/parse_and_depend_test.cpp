#include <gtest/gtest.h>

#include "platform/portable/depend_graph_builder.h"
#include "tests/unit/manifest/configuration_file.h"

namespace GrpOwnerTest {
namespace {

using DependsMap = ParseAndDepend::DependsMap;
using Names = std::vector<std::string>;

constexpr char kGood[] =
    "version: 1\napplications:\n  a: {command: /a}\n"
    "  b: {command: \"${PLACE}/b\", depends_on: [a], template: true}\n";

ParseAndDepend& Service() {
    return ParseAndDepend::GetInstance();
}

// What is good becomes current; what is not is told line by line and changes nothing. Only
// templates take parameters, and only of known indexes.
TEST(ManifestService, AllOrNothing) {
    ConfigurationFile file(kGood);
    std::vector<ApplicationManifest> manifests;
    ASSERT_EQ(Service().ParseYaml(0, file.Path(), manifests, {{"PLACE", "/x"}}), 0);
    ASSERT_EQ(manifests.size(), 2U);
    EXPECT_EQ(manifests[1].GetBinPath(), "/x/b");

    testing::internal::CaptureStderr();
    EXPECT_NE(Service().ParseYaml(0, file.Path(), manifests, {}), 0);
    const std::string log = testing::internal::GetCapturedStderr();
    for (const char* const line : {"/group.yaml:4:17: error: `PLACE` is not defined",
                                   "  |                 ^^^^^^^^\n", "  = help: define it with"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line << " in\n" << log;
    }
    EXPECT_EQ(manifests.size(), 2U);
    EXPECT_EQ(Service().GetApplicationDependsMap(), (DependsMap{{"a", {}}, {"b", {"a"}}}));
    EXPECT_TRUE(Service().IsDynamicParaMatch("b", {{0, {"x"}}, {2, {}}}));
    EXPECT_FALSE(Service().IsDynamicParaMatch("b", {{3, {}}}));
    EXPECT_FALSE(Service().IsDynamicParaMatch("b", {{-1, {}}}));
    EXPECT_FALSE(Service().IsDynamicParaMatch("a", {}));
    EXPECT_FALSE(Service().IsDynamicParaMatch("none", {}));
}

TEST(ManifestService, MatchDataAreAnsweredUnderTheirKeyOnly) {
    const ParseAndDepend::MatchData data = {{"A", "b"}};
    GrpOwnerLinux::SetMatchData(data);
    ParseAndDepend::MatchData got;
    EXPECT_NE(Service().ParseToReplaceData(1, "other", got), 0);
    EXPECT_TRUE(got.empty());
    EXPECT_EQ(Service().ParseToReplaceData(1, "cfgmgr_env", got), 0);
    EXPECT_EQ(got, data);
}

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
}  // namespace GrpOwnerTest
