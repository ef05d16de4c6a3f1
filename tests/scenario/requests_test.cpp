// What the system-state manager commands through the virtual file, and what it is answered.

#include <thread>

#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"
#include "tests/support/requester.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
using Names = std::vector<std::string>;

/// What the process manager was asked for since event `first`.
Names Asked(const Group& group, size_t first) {
    constexpr const char* kNames[] = {"start ", "restart ", "term "};
    const std::vector<PmEvent> events = group.pm.Events();
    Names asked;
    for (size_t i = first; i < events.size(); ++i) {
        if (events[i].kind != PmEvent::kRunning) {
            asked.push_back(kNames[events[i].kind] + events[i].name);
        }
    }
    return asked;
}

// One change set with everything in it. However often and whenever the process manager reports, and
// whatever it says of other groups, order and answer are the same: a chain stops from its top, an
// application starts although what it depends on is not in the set, restarts come last.
TEST(Requests, FullChangeSet) {
    ForSeeds(40, [](uint64_t seed) {
        Group group({App("bus"), App("radio").DependsOn({"nav"}), App("nav").DependsOn({"map"}),
                     App("map"), App("gps"), App("clock"), App("cam").Driving().DependsOn({"bus"}),
                     App("view").Driving().DependsOn({"cam"}), App("tool").Template()},
                    seed);
        ASSERT_TRUE(group.EnableAndStart());
        ASSERT_TRUE(group.pm.WaitIdle());
        const Habits habits[] = {{}, {100}, {0, 100, 100, 3, true}, {50, 100, 100, 4, true}};
        group.pm.SetHabits(habits[seed % 4]);
        const size_t booted = group.pm.Events().size();
        EXPECT_EQ(Requester().Ask(kChangeApps,
                                  "8#map#1#0#0#view#0#0#0#nav#1#0#0#cam#0#0#0#radio#1#0#0#"
                                  "tool#0#2#-v#a b#2#0#1#x#2#2#y##gps#2#1#-slow#0#clock#2#0#0#"),
                  "9#1#cam#0#tool#0#view#0#map#0#nav#0#radio#0#clock#0#gps#0#");
        EXPECT_EQ(Asked(group, booted),
                  (Names{"term radio", "term nav", "term map", "start tool", "start cam",
                         "start view", "restart clock", "restart gps"}));
        EXPECT_EQ(group.pm.LastRequest("tool").arguments, (Names{"-v", "a b"}));
        EXPECT_EQ(group.pm.LastRequest("tool").parameters,
                  (std::map<int, Names>{{0, {"x"}}, {2, {"y", ""}}}));
        EXPECT_EQ(group.pm.LastRequest("gps").arguments, Names{"-slow"});
        ASSERT_TRUE(group.pm.WaitIdle());
        EXPECT_EQ(Requester().Query({"gps", "nobody", "map"}),
                  "1 nobody -1 1 gps " + std::to_string(group.pm.PidOf("gps")) + " 2 map 1002 1");
    });
}

// An application that cannot start in the middle of a chain: what stands on it fails at once, what
// it stands on runs, and the restarts are made nevertheless.
SCENARIO(Requests, ChainBreaks) {
    Group group({App("bus"), App("top").Driving().DependsOn({"upper"}),
                 App("upper").Driving().DependsOn({"bad"}), App("bad").Driving().DependsOn({"low"}),
                 App("low").Driving()});
    group.pm.SetFate("bad", Fate::kCannotStart);
    ASSERT_TRUE(group.EnableAndStart());
    EXPECT_EQ(Requester().Change({}, {"top", "upper", "bad", "low"}, {"bus"}),
              "6#0#bad#6#low#0#top#2#upper#2#bus#0#");
    EXPECT_EQ(CountLog(kError, "StartApp failed. timeout=0(ms)"), 0u);
}

// The order in which the subscriber hears of a change set: of all terminations before the first,
// of each end before its record has moved on, of each start after it, and of a lost heartbeat that
// comes back with a restart.
SCENARIO(Requests, NoticesInOrder) {
    Group group({App("low"), App("top").DependsOn({"low"}), App("new").Driving(),
                 App("beat").HeartBeat(7)});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_TRUE(group.pm.WaitIdle());
    const auto with = [&group](const char* name, const char* rest) {
        return name + (" " + std::to_string(group.pm.PidOf(name))) + rest;
    };
    const Names ends = {"low 0 ACTIVELY_EXIT RUNNING", "top 0 ACTIVELY_EXIT RUNNING",
                        with("top", " SWITCH_OFF TERMINATING"),
                        with("low", " SWITCH_OFF TERMINATING")};
    EXPECT_EQ(NotifyHeartBeat("beat", group.pm.PidOf("beat"), 1), 1);
    const std::string restarts = with("beat", " SWITCH_OFF RESTARTING");
    group.ForgetNotices();
    EXPECT_EQ(Requester().Change({"low", "top"}, {"new"}, {"beat"}),
              "5#1#new#0#low#0#top#0#beat#0#");
    ASSERT_TRUE(group.pm.WaitIdle());
    Names notices = ends;
    for (const std::string& notice :
         {with("new", " SWITCH_ON RUNNING"), restarts, with("beat", " SWITCH_ON RUNNING"),
          with("beat", " HEART_BEAT_RECOVERY RUNNING")}) {
        notices.push_back(notice);
    }
    EXPECT_EQ(group.Notices(), notices);
}

// Two at a time: while the first one's change set waits, the second is refused change sets and
// reloads and gets everything else; while a reload goes on, change sets are refused.
SCENARIO(Requests, SecondManagerMeanwhile) {
    const Names names = {"a", "b", "nobody"};
    Group group({App("a"), App("b").Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_TRUE(group.pm.WaitIdle());
    group.pm.Hold();
    std::thread first([] { EXPECT_EQ(Requester().Change({"a"}, {"b"}), "3#1#b#0#a#0#"); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedTerm, "a") == 1; }));
    Requester second;
    EXPECT_EQ(second.Change({}, {"b"}), "1#0#");
    EXPECT_EQ(second.Ask(kReloadConfiguration), "0");
    EXPECT_EQ(second.Ask(kDump), "1");
    EXPECT_EQ(second.Ask(kListApps), "1#a#b#");
    EXPECT_EQ(second.Ask(kVerifyApps, "2#a#2#b#0#"), "1");
    EXPECT_EQ(second.Query(names), "1 nobody -1 1 a 1000 1 b -1 1");
    EXPECT_TRUE(Logged(kEvent, "isTransitionFinished_=0 isReloading_=0"));
    group.pm.Release();
    first.join();
    SetParseHook([&] {
        EXPECT_EQ(second.Change({"b"}, {}), "1#0#");
        EXPECT_EQ(second.Ask(kReloadConfiguration), "0");
        EXPECT_EQ(second.Ask(kDump), "1");
        EXPECT_EQ(second.Ask(kListApps), "1#a#b#");
        EXPECT_EQ(second.Query({"b"}), "1 b 1001 2");
    });
    EXPECT_EQ(Requester().Ask(kReloadConfiguration), "1");
    EXPECT_TRUE(Group::Runs("b"));
}

}  // namespace
}  // namespace GrpOwnerTest
