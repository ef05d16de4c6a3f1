// How a group comes up.

#include <random>
#include <thread>

#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
using ProcMgr::AppStateType;

using Apps = std::vector<ManifestFields>;

// The group boots; every application is asked for once, after what it depends on, and runs.
void ExpectUpInOrder(const Apps& apps, Group& group) {
    EXPECT_TRUE(group.EnableAndStart());
    EXPECT_EQ(OrderFault(apps, group.pm.Events()), "");
    for (const ManifestFields& app : apps) {
        EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, app.appName), 1u) << app.appName;
        EXPECT_TRUE(Group::Runs(app.appName)) << app.appName;
    }
}

// A group of random layers, none or up to six.
Apps RandomLayers(std::mt19937_64& random) {
    Apps apps;
    std::vector<std::string> lower;
    for (size_t layers = random() % 7; layers > 0; --layers) {
        std::vector<std::string> layer;
        for (size_t width = 1 + random() % 8; width > 0; --width) {
            App app("app" + std::to_string(apps.size()));
            std::set<std::string> depends;
            for (const std::string& name : lower) {
                if (random() % 4 == 0) {
                    depends.insert(name);
                }
            }
            app.DependsOn(depends);
            switch (random() % 10) {
                case 0:
                    app.RosNode();
                    break;
                case 1:
                    app.Reporting();
            }
            if (random() % 3 == 0) {
                app.HeartBeat(5);
            }
            apps.push_back(app);
            layer.push_back(apps.back().appName);
        }
        lower.insert(lower.end(), layer.begin(), layer.end());
    }
    return apps;
}

// Whatever the shape of a group and whether the process manager answers at once or later, twice,
// many in one record or with strangers.
TEST(Boot, RandomLayersInRandomOrder) {
    ForSeeds(200, [](uint64_t seed) {
        std::mt19937_64 random(seed);
        const Apps apps = RandomLayers(random);
        Group group(apps, seed);
        const auto percent = [&random] { return static_cast<unsigned>(random() % 101); };
        const unsigned inside = random() % 4 == 0 ? 100 : percent() / 2;
        group.pm.SetHabits({inside, percent(), percent(), 1 + percent() / 10, random() % 4 != 0});
        ExpectUpInOrder(apps, group);
    });
}

// The lines that a boot leaves in the log, each thread's in its order, and what goes to the process
// manager: the manifest's arguments included.
SCENARIO(Boot, LogAndRecords) {
    Group group({App("a").DependsOn({"b"}).Arguments({"-x", "1"}), App("b")});
    ASSERT_TRUE(group.EnableAndStart());
    EXPECT_TRUE(LoggedInOrder({
        {kInfo, "GroupOwner: ProcMgrAgent RegAppStateChangeCallBack."},
        {kWarning, "ApplicationManager: StartBaseApplication begin."},
        {kWarning, "StartApps begin."},
        {kInfo, "noDependsList in startAppMap appName=b"},
        {kWarning, "StartNoDependsApps start begin."},
        {kInfo, "InitApplicationState appName:b  Start()"},
        {kWarning, "StartNoDependsApps add b to startAppList."},
        {kWarning, "StartNoDependsApps emAgent StartApp begin."},
        {kWarning, "StartNoDependsApps emAgent StartApp end."},
        {kWarning, "StartNoDependsApps start end."},
        {kInfo, "noDependsList in startAppMap appName=a"},
        {kWarning, "StartNoDependsApps add a to startAppList."},
        {kWarning, "StartApp end."},
        {kWarning, "ApplicationManager: StartBaseApplication end."},
    }));
    EXPECT_EQ(group.pm.LastRequest("a").arguments, (std::vector<std::string>{"-x", "1"}));
    EXPECT_EQ(group.Notices(),
              (std::vector<std::string>{"b 1000 SWITCH_ON RUNNING", "a 1001 SWITCH_ON RUNNING"}));
}

// An application that reports itself counts as running by its own word alone, whichever of its word
// and the started report comes first.
SCENARIO(Boot, OwnWordAndReportInEitherOrder) {
    Group group({App("early").Reporting(), App("late").Reporting()});
    group.pm.SetReadiness({"early", "late"}, nullptr);
    group.pm.Hold();
    ASSERT_TRUE(group.Enable());
    std::thread boot([&group] { EXPECT_TRUE(group.Start()); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedStart, "late") == 1; }));
    group.SayReady("early", 7);
    group.pm.Release();
    EXPECT_TRUE(group.pm.WaitIdle());
    EXPECT_TRUE(Group::Runs("early"));
    EXPECT_EQ(Group::State("late"), AppStateType::STARTING);
    group.SayReady("late", 8);
    boot.join();
    // The owner tells of a start only where the process manager's report finds it running.
    const std::string pid = std::to_string(group.pm.PidOf("early"));
    EXPECT_EQ(group.Notices(), (std::vector<std::string>{"early " + pid + " SWITCH_ON RUNNING"}));
    EXPECT_TRUE(
        Logged(kEvent, "GrpOwnerServer: ReportAppStateFromApp. (appName=late,state=on,pid=8)"));
}

// A dependency outside the boot that comes up meanwhile, by a restart, lets its dependants start.
SCENARIO(Boot, DependencyThatIsNotRequested) {
    Group group({App("a").DependsOn({"b"}), App("b").Driving().Restart("on-failure")});
    ASSERT_TRUE(group.Enable());
    group.SayReady("b", 2);
    group.pm.Hold();
    (void)group.owner.GrpOwnerRestartApp("b");  // always 0
    std::thread boot([&group] { EXPECT_TRUE(group.Start()); });
    EXPECT_TRUE(WaitUntil([] { return CountLog(kWarning, "StartApps begin.") == 1; }));
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "a"), 0u);
    group.pm.Release();
    boot.join();
    EXPECT_TRUE(Group::Runs("a"));
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "b"), 0u);
}

}  // namespace
}  // namespace GrpOwnerTest
