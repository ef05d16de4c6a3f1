// Change sets, requests and reloads against one another, in orders that nobody thought of.

#include <algorithm>
#include <random>
#include <thread>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

constexpr char kRefused[] = "1#0#";

/// A few of the names.
Texts Some(const Texts& names, std::mt19937_64& random) {
    Texts some;
    std::copy_if(names.begin(), names.end(), std::back_inserter(some),
                 [&random](const std::string&) { return random() % 4 == 0; });
    return some;
}

/// Asks for anything at random. A change set is refused, or has a result for each of its lines.
void AskForSomething(Group& group, const Texts& names, std::mt19937_64& random) {
    const auto chance = random() % 8;
    if (chance < 3) {
        constexpr unsigned kCommands[] = {kDump, kReloadConfiguration, kListApps};
        EXPECT_EQ(Ask(kCommands[chance]).find("error"), std::string::npos);
        EXPECT_EQ(AskStates(Some(names, random)).at(0), 1);
        return;
    }
    if (chance < 5) {
        EXPECT_EQ(group.owner.GrpOwnerRestartApp(names[random() % names.size()]), 0);
        return;
    }
    const Texts lists[] = {Some(names, random), Some(names, random), Some(names, random)};
    const size_t results = lists[0].size() + lists[1].size() + lists[2].size();
    const std::string answer = AskChange(lists[0], lists[1], lists[2]);
    EXPECT_TRUE(answer == kRefused || answer.find(std::to_string(results + 1) + "#") == 0)
        << answer << " for " << results;
}

// Two system-state managers ask for anything at any time. In the end owner and process manager
// agree on who runs, and a change set for all of them succeeds.
TEST(ChangeChaos, TwoManagers) {
    ForSeeds(20, [](uint64_t seed) {
        const Texts names = {"a", "b", "c", "d", "e", "f", "tool"};
        Group group({App("a").Restart("on-forever"), App("b").DependsOn({"a"}).HeartBeat(1),
                     App("c").DependsOn({"b"}).Restart("on-forever"), App("d"),
                     App("e").Driving().DependsOn({"d"}).HeartBeat(2).Restart("on-forever"),
                     App("f").Driving().DependsOn({"a", "e"}), App("tool").Template()},
                    seed);
        group.pm.SetHabits({40, 3, true});
        ASSERT_TRUE(group.EnableAndStart());
        const auto manage = [&group, &names](uint64_t mind) {
            std::mt19937_64 random(mind);
            for (int round = 0; round < 50; ++round) {
                AskForSomething(group, names, random);
            }
        };
        std::thread other(manage, seed + 1000);
        manage(seed);
        other.join();
        ASSERT_TRUE(group.pm.WaitIdle());
        for (const std::string& name : names) {
            const auto application = Group::Find(name);
            EXPECT_EQ(application != nullptr && application->IsAppRunning(),
                      group.pm.PidOf(name) != 0)
                << name;
        }
        EXPECT_EQ(AskChange({}, names), "8#1#a#0#b#0#c#0#d#0#e#0#f#0#tool#0#");
    });
}

// As many entries as a request may have, in many more records than one, with reports that come in
// heaps and in no order.
SCENARIO(ChangeChaos, ManyEntries) {
    std::vector<ManifestFields> apps;
    std::vector<ProcMgr::AppInfoForServer> lists[3];
    for (int i = 0; i < 1024; ++i) {
        auto& list = lists[i % 3];
        App app("application-" + std::to_string(i));
        if (i % 8 != 0 && !list.empty()) {
            app.DependsOn({list.back().name});
        }
        apps.push_back(i % 3 == 1 ? app.Driving() : app);
        list.push_back({apps.back().appName, {}, {}});
    }
    Group group(apps);
    group.pm.SetHabits({0, 20, true});
    ASSERT_TRUE(group.EnableAndStart());
    std::vector<ProcMgr::AppChangeInfo> results;
    EXPECT_TRUE(ProcMgr::ApplicationManager::GetInstance().ChangeApp(lists[0], lists[1], lists[2],
                                                                     results, 60000));
    EXPECT_EQ(results.size(), apps.size());
    for (size_t i = 0; i < apps.size(); ++i) {
        EXPECT_EQ(Group::Runs(apps[i].appName), i % 3 != 0) << i;
    }
}

}  // namespace
}  // namespace GrpOwnerTest
