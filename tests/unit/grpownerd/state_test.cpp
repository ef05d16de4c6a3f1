// System states: the file that says who runs in them, and the change set that leads there.

#include <gtest/gtest.h>

#include "daemons/grpownerd/state_plan.h"
#include "daemons/grpownerd/state_table.h"
#include "tests/unit/manifest/configuration_file.h"

namespace GrpOwnerDaemon {
namespace {

using GrpOwnerTest::ConfigurationFile;

// bus starts with the group; a diamond hangs on it, d at its end; rec is a template.
constexpr char kGroup[] =
    "version: 1\n"
    "defaults: {autostart: false}\n"
    "applications:\n"
    "  d: {command: /d, depends_on: [c, b]}\n"
    "  c: {command: /c, depends_on: [a]}\n"
    "  b: {command: /b, depends_on: [a, bus]}\n"
    "  a: {command: /a, depends_on: [bus]}\n"
    "  bus: {command: /bus, autostart: true}\n"
    "  rec: {command: /rec, template: true, depends_on: [a]}\n";

class State : public testing::Test {
protected:
    const std::vector<ApplicationManifest> manifests_ = ConfigurationFile(kGroup).Load().manifests;

    StateFile Read(const std::string& text) const {
        return ReadStateFile(ConfigurationFile(text).Path(), {}, manifests_);
    }
};

TEST_F(State, FileNamesStatesInWordsAndNumbers) {
    const StateFile file = Read("x-some: &some [a]\nworking: [b, a]\nOff: []\n7: *some\n");
    EXPECT_TRUE(file.diagnostics.empty());
    const StateTable expected{{1, {"a", "b"}}, {0, {}}, {7, {"a"}}};
    EXPECT_EQ(file.states, expected);
}

// All mistakes are told at once, and nothing of a bad file is used.
TEST_F(State, FileWithMistakesIsRefused) {
    const StateFile file = Read(
        "working: [a, a, e]\n"
        "1: [bus]\n"
        "suspend: [d, c, rec]\n"
        "upgrad: []\n"
        "-3: []\n"
        "off: a\n");
    EXPECT_FALSE(file.isOk);
    EXPECT_TRUE(file.states.empty());
    std::string found;
    for (const auto& diagnostic : file.diagnostics) {
        found += std::to_string(diagnostic.line) + ":" + std::to_string(diagnostic.column) + ": " +
                 diagnostic.message + "\n";
    }
    EXPECT_EQ(found,
              "1:14: `a` stands twice in one state\n"
              "1:17: there is no application `e`\n"
              "2:1: the state WORKING (1) stands twice in this file\n"
              "2:5: `bus` starts with the group\n"
              "3:11: `d` needs `b`, which does not run in this state\n"
              "3:14: `c` needs `a`, which does not run in this state\n"
              "3:17: `rec` is a template\n"
              "4:1: `upgrad` is not a system state\n"
              "5:1: `-3` is not a system state\n"
              "6:6: `off` must be a list\n");
    EXPECT_FALSE(Read("").isOk);
    EXPECT_FALSE(Read("working: [a").isOk);
}

// Each digit is what the process manager says: 0 runs, 1 does not, 3 nobody knows.
TEST_F(State, PlanStopsDependantsFirstAndStartsDependenciesFirst) {
    const std::vector<std::string> driving = DrivingApplications(manifests_);
    ASSERT_EQ(driving.size(), 4U);
    EXPECT_EQ(driving.front(), "a");
    EXPECT_EQ(driving.back(), "d");
    const struct {
        std::set<std::string> wanted;
        std::string processes;  // of a, two in the middle, d
        std::string plan;       // stops, then starts
    } rows[] = {
        {{}, "0000", "-d -3 -2 -a "},
        {{"a", "b", "c", "d"}, "1111", "+a +2 +3 +d "},
        {{"a"}, "0000", "-d -3 -2 "},
        {{"a"}, "1030", "-d -3 -2 +a "},
        {{"a", "b", "c", "d"}, "0000", ""},
        {{"a", "d"}, "0101", "-3 +d "},
        {{}, "1111", ""},
    };
    for (const auto& row : rows) {
        std::vector<GrpOwnerClient::Status> statuses;
        for (size_t index = 0; index < driving.size(); ++index) {
            statuses.push_back({driving[index], -1, uint32_t(row.processes[index] - '0')});
        }
        std::string plan;
        for (const auto& change : PlanState(driving, statuses, row.wanted)) {
            const bool isStart = change.option == ProcMgr::OptionType::START;
            const bool isSecond = change.name == driving[1];
            const bool isThird = change.name == driving[2];
            plan += isStart ? "+" : "-";
            plan += (isSecond ? "2" : isThird ? "3" : change.name) + " ";
        }
        EXPECT_EQ(plan, row.plan) << row.processes;
    }
}

}  // namespace
}  // namespace GrpOwnerDaemon
