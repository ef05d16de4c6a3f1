// What a configuration amounts to, and the pictures of who needs whom.

#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "client/grpctl/group/configuration_lints.h"
#include "client/grpctl/group/graph.h"
#include "client/grpctl/group/group_output.h"

namespace GrpCtl {
namespace {

std::string Write(const std::string& applications) {
    const std::string path = testing::TempDir() + "grpctl_check.yaml";
    std::ofstream file(path);
    file << "version: 1\ndefaults: {autostart: false}\napplications:\n" << applications;
    return path;
}

TEST(GrpctlCheck, FindsWhatIsHardlyMeant) {
    const struct {
        const char* applications;  // from line 4 on
        const char* warnings;
        const char* downAtBoot;
        const char* deepest;
        const char* mostNeeded;
    } rows[] = {
        {"  a: {command: /b}\n", "", "-", "a", ""},
        {"  a: {command: /b}\n  b: {command: /b, depends_on: [a]}\n"
         "  c: {command: /b, depends_on: [a, b]}\n  d: {command: /b, depends_on: [c, a]}\n",
         "6:33 `c` needs `a` already through `b`|7:36 `d` needs `a` already through `c`|", "-",
         "d, c, b, a", "a"},
        {"  a: {command: /b, depends_on: [b, c]}\n  b: {command: /b, depends_on: [d]}\n"
         "  c: {command: /b, depends_on: [d]}\n  d: {command: /b}\n",
         "", "-", "a, b, d", "d"},
        {"  a: {command: /b}\n  b: {command: /b, depends_on: [a], autostart: true}\n"
         "  c: {command: /b, depends_on: [b], autostart: true}\n",
         "5:33 `b` starts with the group, but needs `a`, which does not|", "b, c", "c, b, a", "a"},
        {"  t: {command: /b, template: true}\n  u: {command: /b, template: true, "
         "depends_on: [t]}\n",
         "5:49 the template `u` is out of reach until somebody starts the template `t`|", "-",
         "u, t", "t"},
    };
    for (const auto& row : rows) {
        GrpOwnerLinux::ConfigurationFile file(Write(row.applications), {});
        ASSERT_FALSE(file.Complaints().HasErrors()) << row.applications;
        const Overview overview = Lint(file);
        std::string warnings;
        for (const auto& finding : file.Complaints().Take()) {
            warnings += std::to_string(finding.line) + ":" + std::to_string(finding.column) + " " +
                        finding.message + "|";
        }
        EXPECT_EQ(warnings, row.warnings) << row.applications;
        EXPECT_EQ(Joined(overview.leftDown), row.downAtBoot) << row.applications;
        EXPECT_EQ(Joined(overview.deepest), row.deepest) << row.applications;
        EXPECT_EQ(overview.mostNeeded, row.mostNeeded) << row.applications;
    }
}

// More applications than one strip holds, against sets of names.
TEST(GrpctlCheck, CountsLikeSetsOfNames) {
    constexpr size_t kCount = 9000;
    std::mt19937 random(7);  // NOLINT: the same graph each time
    NeedsByNumber needs(kCount);
    Dependencies::Map byName;
    for (size_t number = 1; number < kCount; ++number) {
        Names& names = byName[std::to_string(number)];
        for (const size_t reach : {size_t{5}, size_t{5}, number}) {
            const size_t needed = number - 1 - random() % std::min(reach, number);
            if (names.insert(std::to_string(needed)).second) {
                needs[number].push_back(needed);
            }
        }
    }
    const Dependencies dependencies(byName);
    const DependencyStudy study = Study(needs);
    for (size_t number = 1; number < kCount; number += 601) {
        EXPECT_EQ(study.falls[number], dependencies.AllNeeding({std::to_string(number)}).size());
        Names redundant;
        for (const RedundantNeed& one : study.redundant) {
            if (one.application == number) {
                redundant.insert(std::to_string(one.needed));
            }
        }
        const Names& direct = dependencies.NeedsOf(std::to_string(number));
        Names expected;
        for (const std::string& needed : direct) {
            const Names needing = dependencies.AllNeeding({needed});
            for (const std::string& other : direct) {
                if (needing.count(other) > 0) {
                    expected.insert(needed);
                }
            }
        }
        EXPECT_EQ(redundant, expected) << number;
    }
}

// A diamond, a template, and a name that only the owner knows and that would break out of quotes.
TEST(GrpctlGraph, DrawsADiamondOnce) {
    const auto configuration = GrpOwnerLinux::LoadConfiguration(
        Write("  top: {command: /b, depends_on: [left, right]}\n"
              "  left: {command: /b, depends_on: [end]}\n"
              "  right: {command: /b, depends_on: [end]}\n"
              "  end: {command: /b, depends_on: [base]}\n  base: {command: /b, template: true}\n"),
        {});
    Graph graph = GraphOf("g", configuration.manifests);
    for (auto& [name, node] : graph.nodes) {
        node.state = name == "end" ? AppState::kRunning : AppState::kStopped;
    }
    graph.nodes["x\"\\\n"].state = AppState::kUnknown;
    Screen screen;
    EXPECT_EQ(TreeOf(graph, screen),
              "top          stopped\n"
              "|-left       stopped\n"
              "| `-end      running\n"
              "|   `-base   stopped\n"
              "`-right      stopped\n"
              "  `-end      running                    see above\n"
              "x\"\\?         not in the configuration\n");
    const std::string dot = DotOf(graph);
    EXPECT_NE(dot.find("\"x\\\"\\\\?\" [label=\"x\\\"\\\\?\\nunknown\""), std::string::npos) << dot;
    EXPECT_NE(dot.find("\"right\" -> \"end\";"), std::string::npos) << dot;
    const std::string mermaid = MermaidOf(graph);
    EXPECT_NE(mermaid.find("n1[\"end<br>running\"]"), std::string::npos) << mermaid;
    EXPECT_NE(mermaid.find("n5[\"x#34;\\?<br>unknown\"]"), std::string::npos) << mermaid;
    EXPECT_NE(mermaid.find("n3 --> n1"), std::string::npos) << mermaid;
}

// What is too deep for a line is drawn below, and drawn once.
TEST(GrpctlGraph, LosesNothingOfALongChain) {
    Graph graph;
    for (int number = 100; number < 200; ++number) {
        graph.nodes["a" + std::to_string(number)].needs =
            number == 100 ? Names() : Names{"a" + std::to_string(number - 1)};
    }
    const std::string tree = TreeOf(graph, {});
    EXPECT_EQ(std::count(tree.begin(), tree.end(), '\n'), 100 + 4);
    for (const auto& [name, node] : graph.nodes) {
        EXPECT_NE(tree.find(name + " "), std::string::npos) << name;
    }
}

}  // namespace
}  // namespace GrpCtl
