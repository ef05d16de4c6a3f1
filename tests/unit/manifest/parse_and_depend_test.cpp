#include <gtest/gtest.h>

#include <thread>

#include "tests/unit/manifest/configuration_file.h"

namespace GrpOwnerTest {
namespace {

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
    EXPECT_EQ(Service().GetApplicationDependsMap(),
              (ParseAndDepend::DependsMap{{"a", {}}, {"b", {"a"}}}));
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

// A reload while graphs are asked for: each graph is made of one map or of the other, never of
// both.
TEST(ManifestService, MapsAreSwappedWhole) {
    const ConfigurationFile file(kGood);
    const ParseAndDepend::DependsMap other = {{"b", {"c"}}, {"c", {}}};
    Service().SetApplicationDependsMap(other);
    std::thread reloading([&file, &other] {
        for (int i = 0; i < 50; ++i) {
            std::vector<ApplicationManifest> manifests;
            EXPECT_EQ(Service().ParseYaml(0, file.Path(), manifests, {{"PLACE", "/x"}}), 0);
            Service().SetApplicationDependsMap(other);
        }
    });
    for (int i = 0; i < 500; ++i) {
        DependGraph graph;
        std::vector<std::string> unknown;
        EXPECT_TRUE(Service().GetStartGraphWithErrApp({"b", "x"}, graph, unknown));
        const std::set<std::string> first = graph.GetNoDependVertices();
        EXPECT_EQ(first.count("a") + first.count("c"), 1U);
        EXPECT_TRUE(Service().GetTermGraphWithErrApp({"b", "y"}, graph, unknown));
        EXPECT_EQ(graph.GetNoDependVertices(), std::set<std::string>{"b"});
        EXPECT_EQ(unknown, (std::vector<std::string>{"x", "y"}));
    }
    reloading.join();
}

}  // namespace
}  // namespace GrpOwnerTest
