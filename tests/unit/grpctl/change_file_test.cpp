#include "client/grpctl/change/change_file.h"

#include <gtest/gtest.h>

namespace GrpCtl {
namespace {

TEST(GrpctlChangeFile, ReadsStopsStartsAndRestarts) {
    const ChangeFile file = ParseChangeFile("change.yaml",
                                            "stop: [planner]\n"
                                            "start:\n"
                                            "  - camera\n"
                                            "  - {name: recorder, arguments: [--q, \"9\"],\n"
                                            "     parameters: {0: [left, right], 2: []}}\n"
                                            "restart: [lidar]\n");
    ASSERT_TRUE(file.isOk) << file.complaints;
    EXPECT_EQ(file.stops, std::vector<std::string>{"planner"});
    EXPECT_EQ(file.starts, (std::vector<std::string>{"camera", "recorder"}));
    EXPECT_EQ(file.restarts, std::vector<std::string>{"lidar"});
    ASSERT_EQ(file.launches.size(), 1U);
    const Launch& launch = file.launches.at("recorder");
    EXPECT_EQ(launch.arguments, (std::vector<std::string>{"--q", "9"}));
    EXPECT_EQ(launch.parameters, (Parameters{{0, {"left", "right"}}, {2, {}}}));
}

TEST(GrpctlChangeFile, SaysWhereItIsWrong) {
    const struct {
        const char* text;
        const char* complaint;
    } rows[] = {
        {"", "no change set"},
        {"- camera\n", "here must be stop:, start: and restart:"},
        {"strat: [camera]\n", "did you mean `start`?"},
        {"start: camera\n", "change.yaml:1:8: error: here must be a list"},
        {"stop: [{name: camera}]\n", "here must be the name"},
        {"start:\n  - {arguments: [x]}\n", "change.yaml:2:5: error: the name is missing"},
        {"start: [{name: a, parameters: {3: [x]}}]\n", "`3` is no index"},
        {"start: [{name: a}]\nrestart: [{name: a}]\n", "`a` stands twice"},
        {"start: [\"a\n", "change.yaml:"},
    };
    for (const auto& row : rows) {
        const ChangeFile file = ParseChangeFile("change.yaml", row.text);
        EXPECT_FALSE(file.isOk) << row.text;
        EXPECT_NE(file.complaints.find(row.complaint), std::string::npos)
            << row.text << file.complaints;
    }
}

}  // namespace
}  // namespace GrpCtl
