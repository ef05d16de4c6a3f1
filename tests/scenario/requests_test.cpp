// What the system-state manager commands through the virtual file, and what it is answered.

#include <thread>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

// One change set with everything in it. Whenever the process manager reports, order and answer are
// the same: a chain stops from its top, an application starts although what it depends on is not in
// the set, restarts come last.
TEST(Requests, FullChangeSet) {
    ForSeeds(40, [](uint64_t seed) {
        Group group({App("bus"), App("radio").DependsOn({"nav"}), App("nav").DependsOn({"map"}),
                     App("map"), App("gps"), App("clock"), App("cam").Driving().DependsOn({"bus"}),
                     App("view").Driving().DependsOn({"cam"}), App("tool").Template()},
                    seed);
        ASSERT_TRUE(group.EnableAndStart());
        const Habits habits[] = {{}, {100}, {0, 3, true}, {50, 4, true}};
        group.pm.SetHabits(habits[seed % 4]);
        const size_t booted = group.pm.Events().size();
        EXPECT_EQ(Ask(kChangeApps,
                      "8#map#1#0#0#view#0#0#0#nav#1#0#0#cam#0#0#0#radio#1#0#0#"
                      "tool#0#2#-v#a b#2#0#1#x#2#2#y##gps#2#1#-slow#0#clock#2#0#0#"),
                  "9#1#cam#0#tool#0#view#0#map#0#nav#0#radio#0#clock#0#gps#0#");
        std::string asked;
        const std::vector<PmEvent> events = group.pm.Events();
        for (size_t i = booted; i < events.size(); ++i) {
            constexpr const char* kSigns[] = {" +", " *", " -"};
            asked +=
                events[i].kind == PmEvent::kRunning ? "" : kSigns[events[i].kind] + events[i].name;
        }
        EXPECT_EQ(asked, " -radio -nav -map +tool +cam +view *clock *gps");
        EXPECT_EQ(group.pm.LastRequest("tool").arguments, (Texts{"-v", "a b"}));
        EXPECT_EQ(group.pm.LastRequest("tool").parameters,
                  (std::map<int, Texts>{{0, {"x"}}, {2, {"y", ""}}}));
        EXPECT_EQ(group.pm.LastRequest("gps").arguments, Texts{"-slow"});
    });
}

// The order in which the subscriber hears of a change set: of all terminations before the first,
// of each end before its record has moved on, of each start after it, and of a lost heartbeat that
// comes back with a restart.
SCENARIO(Requests, NoticesInOrder) {
    Group group({App("low"), App("top").DependsOn({"low"}), App("new").Driving(),
                 App("beat").HeartBeat(7)});
    ASSERT_TRUE(group.EnableAndStart());
    EXPECT_EQ(NotifyHeartBeat("beat", 1001, 1), 1);
    group.ForgetNotices();
    EXPECT_EQ(AskChange({"low", "top"}, {"new"}, {"beat"}), "5#1#new#0#low#0#top#0#beat#0#");
    ASSERT_TRUE(group.pm.WaitIdle());
    EXPECT_EQ(group.Notices(),
              (Texts{"low 0 ACTIVELY_EXIT RUNNING", "top 0 ACTIVELY_EXIT RUNNING",
                     "top 1002 SWITCH_OFF TERMINATING", "low 1000 SWITCH_OFF TERMINATING",
                     "new 1003 SWITCH_ON RUNNING", "beat 1001 SWITCH_OFF RESTARTING",
                     "beat 1004 SWITCH_ON RUNNING", "beat 1004 HEART_BEAT_RECOVERY RUNNING"}));
}

// Two at a time: while the first one's change set waits, the second is refused change sets and
// reloads and gets everything else; and the same while its reload goes on.
SCENARIO(Requests, SecondManagerMeanwhile) {
    Group group({App("a"), App("b").Driving().DependsOn({"a"})});
    ASSERT_TRUE(group.EnableAndStart());
    const auto meanwhile = [] {
        ClearLog();
        EXPECT_EQ(AskChange({"a"}, {}), "1#0#");
        EXPECT_EQ(Ask(kReloadConfiguration), "0");
        EXPECT_EQ(Ask(kDump), "1");
        EXPECT_TRUE(Logged(kWarning, "app=b depend=a "));
        EXPECT_EQ(Ask(kListApps), "1#a#b#");
        EXPECT_EQ(Ask(kVerifyApps, "2#a#2#b#0#"), "1");
        constexpr char kAnswer[] = "\1\1\0\0\0\1\0\0\0a\xE8\3\0\0\0\0\0";
        EXPECT_EQ(AskStates({"a"}), std::string(kAnswer, sizeof(kAnswer)));
    };
    SetParseHook(meanwhile);
    EXPECT_EQ(Ask(kReloadConfiguration), "1");
    group.pm.Hold();
    std::thread first([] { EXPECT_EQ(AskChange({}, {"b"}), "2#1#b#0#"); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedStart, "b") == 1; }));
    std::thread(meanwhile).join();
    group.pm.Release();
    first.join();
}

}  // namespace
}  // namespace GrpOwnerTest
