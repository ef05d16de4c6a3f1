// What a wish becomes: closure, dependants, waves, and the answer's way back to its parts.

#include "client/grpctl/change/plan.h"

#include <gtest/gtest.h>

#include "client/grpctl/typed/verbs.h"

namespace GrpCtl {
namespace {

using ProcMgr::OptionType;

// planner needs fusion, which needs camera and lidar, which need clock, which needs logger.
const Dependencies kRover({{"logger", {}},
                           {"clock", {"logger"}},
                           {"camera", {"clock"}},
                           {"lidar", {"clock"}},
                           {"fusion", {"camera", "lidar"}},
                           {"planner", {"fusion"}},
                           {"recorder", {"camera"}}});

Names Read(const std::string& text) {
    Names names;
    for (const std::string& name : Split(text, ' ')) {
        names.insert(name);
    }
    names.erase("");
    return names;
}

template <typename List>
std::string Show(const List& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " ") + name;
    }
    return text;
}

TEST(GrpctlPlan, ClosesStartsOverWhatTheyNeed) {
    const struct {
        const char* starts;
        const char* running;
        bool isWithoutDependencies;
        const char* sent;
        const char* added;
    } rows[] = {
        {"planner", "logger clock", false, "camera fusion lidar planner", "camera fusion lidar"},
        {"planner fusion", "logger clock camera lidar", false, "fusion planner", ""},
        {"planner", "logger clock", true, "planner", ""},
        {"clock", "logger clock", false, "", ""},
        {"clock", "logger clock", true, "clock", ""},
        // A gap below what runs would leave the start waiting for ever.
        {"planner", "fusion camera lidar logger", false, "clock planner", "clock"},
        // What runs is not touched, whatever it lacks.
        {"fusion", "fusion", false, "", ""},
        {"stranger", "", false, "stranger", ""},
    };
    for (const auto& row : rows) {
        Wish wish;
        wish.starts = Read(row.starts);
        wish.isWithoutDependencies = row.isWithoutDependencies;
        const Plan plan = MakePlan(wish, kRover, Read(row.running), Read(row.running));
        EXPECT_EQ(Show(plan.starts), row.sent) << row.starts;
        EXPECT_EQ(Show(plan.addedStarts), row.added) << row.starts;
    }
}

TEST(GrpctlPlan, KeepsStopsFromBereavingOthers) {
    const Names alive = Read("logger clock camera lidar fusion");
    const struct {
        const char* stops;
        const char* starts;
        void (*set)(Wish&);
        const char* sent;
        const char* bereft;
    } rows[] = {
        {"fusion", "", [](Wish&) {}, "fusion", ""},
        {"clock", "", [](Wish&) {}, "clock", "camera fusion lidar"},
        {"camera", "", [](Wish&) {}, "camera", "fusion"},
        {"camera fusion", "", [](Wish&) {}, "camera fusion", ""},
        {"camera", "", [](Wish& wish) { wish.isForced = true; }, "camera", ""},
        {"camera", "", [](Wish& wish) { wish.isWithDependents = true; }, "camera fusion", ""},
        // It comes back in the same change set.
        {"camera", "camera", [](Wish&) {}, "camera", ""},
    };
    for (const auto& row : rows) {
        Wish wish;
        wish.stops = Read(row.stops);
        wish.starts = Read(row.starts);
        row.set(wish);
        const Plan plan = MakePlan(wish, kRover, alive, alive);
        EXPECT_EQ(Show(plan.stops), row.sent) << row.stops;
        EXPECT_EQ(Show(plan.bereft), row.bereft) << row.stops;
        EXPECT_EQ(Show(plan.starts), row.starts) << row.stops;
    }
}

// An order may lead through an application that is not in the set; a cycle must not be the end.
TEST(GrpctlPlan, SortsIntoWaves) {
    const auto show = [](const Dependencies& dependencies, const std::string& names) {
        std::string text;
        for (const auto& wave : dependencies.Waves(Read(names))) {
            text += "[" + Show(wave) + "]";
        }
        return text;
    };
    EXPECT_EQ(show(kRover, "planner fusion lidar camera"), "[camera lidar][fusion][planner]");
    EXPECT_EQ(show(kRover, "planner clock recorder"), "[clock][planner recorder]");
    EXPECT_EQ(show(kRover, "stranger"), "[stranger]");
    EXPECT_EQ(show(kRover, ""), "");
    const Dependencies cycle({{"a", {"b"}}, {"b", {"a"}}});
    EXPECT_EQ(Show(cycle.AllNeeds({"a"})), "b");
    EXPECT_EQ(cycle.InOrder({"a", "b"}).size(), 2U);
}

// An answer holds starts, then stops, then restarts; a failed step leaves the later ones out, and
// an application that is in it twice must not get the other's result.
TEST(GrpctlPlan, GivesEachPartItsResult) {
    Plan plan;
    plan.stops = Read("camera fusion");
    plan.starts = Read("camera");
    plan.restarts = Read("lidar");
    const struct {
        std::vector<GrpOwnerClient::ChangeResult> results;
        const char* outcome;
    } rows[] = {
        {{{"camera", 0}, {"camera", 0}, {"fusion", 0}, {"lidar", 3}},
         "-fusion0 -camera0 +camera0 *lidar3"},
        {{{"camera", 0}, {"fusion", 1}}, "-fusion1 -camera0 +camera4 *lidar4"},
        {{{"camera", 2}, {"camera", 0}, {"fusion", 0}}, "-fusion0 -camera0 +camera2 *lidar4"},
        {{}, "-fusion4 -camera4 +camera4 *lidar4"},
    };
    for (const auto& row : rows) {
        std::vector<std::string> shown;
        for (const Outcome& outcome : Match(plan, kRover, row.results)) {
            const char mark = "+-*"[static_cast<size_t>(outcome.option)];
            shown.push_back(mark + outcome.name + std::to_string(outcome.result));
        }
        EXPECT_EQ(Show(shown), row.outcome);
    }
}

}  // namespace
}  // namespace GrpCtl
