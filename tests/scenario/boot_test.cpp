// How a group comes up.

#include <random>
#include <thread>

#include "platform/memory/memory_platform.h"
#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/manifest_builder.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
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
