// What a change set would do: why each name is in it, and how long owner and applications may take.

#include "client/grpctl/change/forecast.h"

#include <gtest/gtest.h>

#include "client/grpctl/typed/verbs.h"
#include "platform/portable/manifest_fields.h"

namespace GrpCtl {
namespace {

using std::chrono::milliseconds;

// planner needs fusion, which needs camera and lidar, which need clock; recorder is a template.
// Nobody but the owner knows stranger.
class RoverForecast : public testing::Test {
protected:
    RoverForecast() {
        Add("clock", "", 1000);
        Add("camera", "clock", 2000);
        Add("lidar", "clock", 4500);
        Add("fusion", "camera lidar", 0);
        Add("planner", "fusion", 500).isReporting = true;
        Add("recorder", "camera", 3000).isDynamicPara = true;
        for (const auto& [name, fields] : fields_) {
            known_[name].manifest =
                ApplicationManifest(std::make_shared<const ManifestFields>(fields));
        }
        known_["stranger"].name = "stranger";
        dependencies_ = Dependencies(needs_);
    }

    static Names Read(const std::string& text) {
        const std::vector<std::string> names = Split(text, ' ');
        Names read(names.begin(), names.end());
        read.erase("");
        return read;
    }

    Forecast Of(const Wish& wish, const std::string& running, const Patience& patience) {
        for (auto& [name, application] : known_) {
            application.state = AppState::kStopped;
        }
        for (const std::string& name : Read(running)) {
            known_.at(name).state = AppState::kRunning;
        }
        const Plan plan = MakePlan(wish, dependencies_, Read(running), Read(running));
        return Foresee(plan, dependencies_, {{"recorder", {{"-v"}, {{0, {"left", "right"}}}}}},
                       known_, patience);
    }

    static std::string Show(const Forecast& forecast) {
        std::string text;
        for (const Phase& phase : forecast.phases) {
            text += "-+*"[phase.option == ProcMgr::OptionType::TERM    ? 0
                          : phase.option == ProcMgr::OptionType::START ? 1
                                                                       : 2];
            for (const auto& wave : phase.waves) {
                text += "[";
                for (const PlannedStep& step : wave) {
                    text += step.name + ": " + step.reason + "; ";
                }
                text += "]";
            }
        }
        return text;
    }

private:
    ManifestFields& Add(const std::string& name, const std::string& needs, uint32_t stopMs) {
        needs_[name] = Read(needs);
        ManifestFields& fields = fields_[name];
        fields.appName = name;
        fields.isForceTerm = stopMs == 0;
        fields.termTimeOut = stopMs == 0 ? 9000 : stopMs;
        return fields;
    }

    std::map<std::string, ManifestFields> fields_;
    Dependencies::Map needs_;
    Dependencies dependencies_;
    Known known_;
};

TEST_F(RoverForecast, GivesEachNameItsReason) {
    const auto with = [](
                          const char* stops, const char* starts, const char* restarts,
                          void (*set)(Wish&) = [](Wish&) {}) {
        Wish wish{Read(stops), Read(starts), Read(restarts)};
        set(wish);
        return wish;
    };
    const struct {
        Wish wish;
        const char* running;
        const char* shown;
    } rows[] = {
        {with("", "planner", ""), "clock lidar",
         "+[camera: needed by fusion; ][fusion: needed by planner; ]"
         "[planner: asked for, waits for READY=1; ]"},
        {with("fusion", "", "", [](Wish& wish) { wish.isWithDependents = true; }), "fusion planner",
         "-[planner: stopped before fusion, 500ms to stop; ][fusion: asked for, killed at once; ]"},
        {with("fusion lidar", "", "", [](Wish& wish) { wish.isForced = true; }), "lidar planner",
         "-[fusion: asked for, although needed by planner, does not run; ]"
         "[lidar: asked for, 4.50s to stop; ]"},
        {with("", "fusion clock", "", [](Wish& wish) { wish.isWithoutDependencies = true; }),
         "clock lidar",
         "+[clock: asked for, runs already; ][fusion: asked for, blocked: needs camera; ]"},
        {with("recorder", "recorder", "stranger clock"), "camera clock recorder",
         "-[recorder: asked for, 3s to stop; ]"
         "+[recorder: asked for, parameter 0=left,right, arguments -v; ]"
         "*[clock: asked for, 1s to stop; stranger: asked for, not in the configuration; ]"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Show(Of(row.wish, row.running, {milliseconds(5000), false})), row.shown);
    }
}

// Stops run side by side but for what needs what; a stop that is down takes no time; the owner
// keeps some of the time-out back, and more of it from 5 s on.
TEST_F(RoverForecast, TellsTheLongestTime) {
    const char* const all = "clock camera lidar fusion planner";
    const struct {
        const char* stops;
        const char* starts;
        const char* restarts;
        const char* running;
        int timeout;
        bool isLongRun;
        int longest;
        int enough;  // 0: the time-out is
    } rows[] = {
        {"planner", "", "", all, 5000, false, 500, 0},
        {all, "", "", all, 10000, false, 6000, 0},
        {all, "", "", all, 6000, false, 5500, 7000},
        {all, "", "", "camera clock", 5000, false, 3000, 0},
        // What stands between two stops orders them although it is none itself.
        {"planner clock", "", "", all, 5000, false, 1500, 0},
        {"lidar fusion planner", "", "", all, 4900, false, 4800, 6000},
        {"", "planner", "", "clock", 3000, false, 2900, 0},
        {"", "planner", "", "clock", 50, false, 4500, 0},
        {"", "clock", "", "clock", 3000, false, 0, 0},
        {"planner", "recorder", "clock", all, 3000, false, 500 + 2900 + 2900, 0},
        {"", "", "lidar", all, 4600, false, 4500, 6000},
        {all, "", "", all, 3000, true, 6000, 0},
    };
    for (const auto& row : rows) {
        Wish wish{Read(row.stops), Read(row.starts), Read(row.restarts)};
        wish.isForced = true;
        const Forecast forecast = Of(wish, row.running, {milliseconds(row.timeout), row.isLongRun});
        EXPECT_EQ(forecast.Longest().count(), row.longest) << row.stops << row.timeout;
        EXPECT_EQ(forecast.IsTooShort(), row.enough > 0) << row.stops << row.timeout;
        if (row.enough > 0) {
            EXPECT_EQ(forecast.Enough().count(), row.enough) << row.stops;
        }
    }
}

// A thousand names behind each other: the order of all, and neither the stack nor the patience of
// whoever waits is used up.
TEST(GrpctlForecast, HoldsALongChain) {
    Dependencies::Map needs;
    Known known;
    Plan plan;
    for (int number = 0; number < 20000; ++number) {
        const std::string name = "a" + std::to_string(number);
        needs[name] = number == 0 ? Names() : Names{"a" + std::to_string(number - 1)};
        known[name].state = AppState::kRunning;
        plan.stops.insert(name);
    }
    const Forecast forecast =
        Foresee(plan, Dependencies(std::move(needs)), {}, known, {milliseconds(3000), false});
    ASSERT_EQ(forecast.phases.size(), 1U);
    EXPECT_EQ(forecast.phases[0].waves.front().front().name, "a19999");
    EXPECT_EQ(forecast.phases[0].waves.back().front().name, "a0");
}

}  // namespace
}  // namespace GrpCtl
