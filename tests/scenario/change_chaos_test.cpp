// Change sets, requests and reloads against one another, in orders that nobody thought of.

#include <atomic>
#include <random>
#include <sstream>
#include <thread>

#include "src/manager/application_manager.h"
#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/manifest_builder.h"
#include "tests/support/requester.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
using Names = std::vector<std::string>;

constexpr char kRefused[] = "1#0#";

/// A few of the names.
Names Some(const Names& names, std::mt19937_64& random) {
    Names some;
    for (const std::string& name : names) {
        if (random() % 4 == 0) {
            some.push_back(name);
        }
    }
    return some;
}

/// A change set at random. It is refused, or there is a result for each of its lines.
void ChangeSome(Requester& requester, const Names& names, std::mt19937_64& random) {
    const Names term = Some(names, random);
    const Names start = Some(names, random);
    const Names restart = Some(names, random);
    const std::string answer = requester.Change(term, start, restart);
    const size_t lines = term.size() + start.size() + restart.size();
    EXPECT_TRUE(answer == kRefused || answer.find(std::to_string(lines + 1) + "#") == 0)
        << answer << " for " << lines;
}

void AskForSomething(Requester& requester, const Names& names, std::mt19937_64& random) {
    switch (random() % 6) {
        case 0:
            EXPECT_EQ(requester.Ask(kDump), "1");
            break;
        case 1:
            EXPECT_EQ(requester.Ask(kListApps).find("1#a#b#c#d#e#f#"), 0u);
            break;
        case 2:
            EXPECT_EQ(requester.Query(Some(names, random)).find("1"), 0u);
            break;
        case 3:
            EXPECT_EQ(requester.Ask(kReloadConfiguration).size(), 1u);
            break;
        default:
            ChangeSome(requester, names, random);
            break;
    }
}

// Two system-state managers ask for anything at any time. In the end owner and process manager
// agree on who runs, and a change set for all of them succeeds.
TEST(ChangeChaos, TwoManagers) {
    ForSeeds(20, [](uint64_t seed) {
        const Names names = {"a", "b", "c", "d", "e", "f", "tool"};
        Group group({App("a").Restart("on-forever"), App("b").DependsOn({"a"}).HeartBeat(1),
                     App("c").DependsOn({"b"}).Restart("on-forever"), App("d"),
                     App("e").Driving().DependsOn({"d"}).HeartBeat(2).Restart("on-forever"),
                     App("f").Driving().DependsOn({"a", "e"}), App("tool").Template()},
                    seed);
        group.pm.SetHabits({40, 0, 40, 3, true});
        ASSERT_TRUE(group.EnableAndStart());
        std::vector<std::thread> managers;
        for (uint64_t manager = 1; manager <= 2; ++manager) {
            managers.emplace_back([&names, seed, manager] {
                std::mt19937_64 random(seed * 2 + manager);
                Requester requester;
                for (int round = 0; round < 50; ++round) {
                    AskForSomething(requester, names, random);
                }
            });
        }
        for (std::thread& manager : managers) {
            manager.join();
        }
        ASSERT_TRUE(group.pm.WaitIdle());
        for (const std::string& name : names) {
            const auto application = Group::Find(name);
            EXPECT_EQ(application != nullptr && application->IsAppRunning(),
                      group.pm.PidOf(name) != 0)
                << name;
        }
        EXPECT_EQ(Requester().Change({}, names), "8#1#a#0#b#0#c#0#d#0#e#0#f#0#tool#0#");
    });
}

// An instance of a template ends and begins anew in one change set, with its parameters on the
// wire, five hundred times and whatever the configuration does meanwhile.
SCENARIO(ChangeChaos, TemplateAnewDuringReloads) {
    Group group({App("base"), App("tool").Template()});
    group.pm.SetHabits({30, 0, 30, 1, false});
    ASSERT_TRUE(group.EnableAndStart());
    std::atomic<bool> isDone{false};
    std::thread reloads([&isDone] {
        Requester requester;
        while (!isDone) {
            EXPECT_EQ(requester.Ask(kReloadConfiguration).size(), 1u);
        }
    });
    Requester requester;
    for (int round = 1; round <= 500 && !testing::Test::HasFailure(); ++round) {
        const std::string number = std::to_string(round);
        std::string answer = kRefused;
        while (answer == kRefused) {
            answer = requester.Ask(kChangeApps, "2#tool#1#0#0#tool#0#0#1#2#1#" + number + "#");
        }
        EXPECT_EQ(answer, "3#1#tool#0#tool#0#");
        EXPECT_EQ(group.pm.LastRequest("tool").parameters, (std::map<int, Names>{{2, {number}}}));
    }
    isDone = true;
    reloads.join();
    EXPECT_EQ(requester.Ask(kReloadConfiguration), "1");
    EXPECT_TRUE(Group::Runs("tool"));
}

// As many entries as a request may have, in many more records than one, with reports that come in
// heaps and in no order.
SCENARIO(ChangeChaos, ManyEntries) {
    constexpr int kEach[] = {400, 400, 224};
    std::vector<ManifestFields> apps;
    std::vector<ProcMgr::AppInfoForServer> lists[3];
    for (size_t list = 0; list < 3; ++list) {
        for (int i = 0; i < kEach[list]; ++i) {
            App app("application-" + std::to_string(list) + "-" + std::to_string(i));
            if (i % 8 != 0) {
                app.DependsOn({lists[list].back().name});
            }
            apps.push_back(list == 1 ? app.Driving() : app);
            lists[list].push_back({apps.back().appName, {}, {}});
        }
    }
    Group group(apps);
    group.pm.SetHabits({0, 100, 50, 20, true});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_TRUE(group.pm.WaitIdle());
    std::vector<ProcMgr::AppChangeInfo> results;
    EXPECT_TRUE(ProcMgr::ApplicationManager::GetInstance().ChangeApp(lists[0], lists[1], lists[2],
                                                                     results, 60000));
    EXPECT_EQ(results.size(), 1024u);
    EXPECT_EQ(OrderFault(apps, group.pm.Events()), "");
    for (size_t list = 0; list < 3; ++list) {
        for (const auto& app : lists[list]) {
            EXPECT_EQ(Group::Runs(app.name), list != 0) << app.name;
        }
    }
}

}  // namespace
}  // namespace GrpOwnerTest
