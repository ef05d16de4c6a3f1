// How a group comes up when something on its way goes wrong or goes on already.

#include <functional>
#include <thread>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

constexpr char kTimedOut[] = "StartApp failed. timeout=4500(ms)";

// A dependency that cannot start: what stands on it is marked as failed at once, not when the time
// is over, and what does not depend on it runs; the next boot brings up the rest.
TEST(Boot, DependencyFails) {
    for (const Fate fate : {Fate::kCrashes, Fate::kExits, Fate::kCannotStart}) {
        for (const unsigned inside : {0, 100}) {
            RunIsolated([fate, inside] {
                Group group({App("top").DependsOn({"middle"}), App("middle").DependsOn({"bad"}),
                             App("bad"), App("other")});
                group.pm.SetFate("bad", fate);
                group.pm.SetHabits({inside});
                ASSERT_TRUE(group.Enable());
                EXPECT_FALSE(group.Start());
                ASSERT_TRUE(group.pm.WaitIdle());
                EXPECT_TRUE(Group::Runs("other"));
                EXPECT_EQ(Group::State("bad"), AppStateType::TERMINATED);
                EXPECT_EQ(Group::State("middle"), AppStateType::INITSTATE);
                EXPECT_EQ(CountLog(kError, kTimedOut), 0u);
                EXPECT_TRUE(Logged(
                    kError, "Base application start failed. (Name=top,result=START_FAILED)"));
                group.pm.SetFate("bad", Fate::kRuns);
                EXPECT_TRUE(group.Start());
                EXPECT_TRUE(Group::Runs("top"));
            });
        }
    }
}

// A change set that asks for what the boot is starting is refused, and the boot goes on. It leaves
// no record of a template, nor the failure of one that is no longer configured to the next boot.
SCENARIO(Boot, NoBusinessOfTheBoot) {
    Group group({App("bus"), App("top").DependsOn({"bus"}), App("bad").DependsOn({"bus"}),
                 App("idle").DependsOn({"tool"}), App("tool").Template()});
    group.pm.SetFate("bad", Fate::kCannotStart);
    group.pm.Hold();
    ASSERT_TRUE(group.Enable());
    std::thread boot([&group] { EXPECT_FALSE(group.Start()); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedStart, "bus") == 1; }));
    EXPECT_EQ(AskChange({}, {"bus"}), "2#0#bus#2#");
    group.pm.Release();
    boot.join();
    EXPECT_TRUE(Group::Runs("top"));
    EXPECT_EQ(Ask(kListApps), "1#bad#bus#idle#top#");
    SetConfiguration({App("bus"), App("top").DependsOn({"bus"})});
    EXPECT_EQ(Ask(kReloadConfiguration), "1");
    EXPECT_TRUE(group.Start());
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

// A pipe that takes nothing: every application of the call fails at once, the refusal coming back
// on the sending thread, and once the pipe works again the next boot succeeds.
SCENARIO(Boot, SendFails) {
    constexpr int kBrokenPipe = -32;
    Group group({App("a").DependsOn({"b"}), App("b"), App("c")});
    ASSERT_TRUE(group.Enable());
    ScriptPipe(PipeCall::kSend, kBrokenPipe);
    EXPECT_FALSE(group.Start());
    EXPECT_EQ(Group::State("b"), AppStateType::TERMINATED);
    EXPECT_EQ(Group::State("c"), AppStateType::TERMINATED);
    EXPECT_EQ(CountLog(kError, kTimedOut), 0u);
    EXPECT_TRUE(group.Start());
}

// A dependency service that fails ends the boot with every application marked.
SCENARIO(Boot, NoGraph) {
    Group group({App("a")});
    ASSERT_TRUE(group.Enable());
    ScriptManifest(ManifestCall::kStartGraph, -1);
    EXPECT_FALSE(group.Start());
    EXPECT_TRUE(Logged(kError, "mark a to START_FAILED"));
    // A name that the dependency map does not know is said and marked.
    ParseAndDepend::GetInstance().SetApplicationDependsMap({});
    EXPECT_FALSE(group.Start());
    EXPECT_TRUE(Logged(kError, "App <a> is not in start graph, plz check start yaml."));
}

// What keeps the owner from being enabled is told, and when the host has mended it all goes well.
TEST(Boot, Enable) {
    const std::function<void()> kFaults[] = {
        [] { ScriptPipe(PipeCall::kOpen, -111); },
        [] { SetAnswer([](const SentRecord&) { return "-5"; }); },
        [] { ScriptManifest(ManifestCall::kParseYaml, -1); },
    };
    for (const auto& fail : kFaults) {
        RunIsolated([&fail] {
            Group group({App("a")});
            fail();
            EXPECT_EQ(group.owner.GrpOwnerEnable(), 1);
            SetAnswer(nullptr);
            EXPECT_TRUE(group.EnableAndStart());
        });
    }
}

// Enabling twice opens a new pipe, closes the old one and keeps what runs; the heartbeat to the
// process manager began with the first. Neither match data that cannot be had nor a heartbeat that
// cannot be sent is a reason to fail.
SCENARIO(Boot, EnableTwice) {
    SetMatchData({{"PLACE", "left"}});
    Group group({App("a"), App("b").DependsOn({"a"})});
    ScriptHeartBeat(HeartBeatCall::kSend, -5);
    ASSERT_TRUE(group.EnableAndStart());
    const int firstPipe = OpenPipe();
    ScriptManifest(ManifestCall::kReplaceData, -1);
    ASSERT_TRUE(group.Enable());
    EXPECT_GT(OpenPipe(), firstPipe);
    EXPECT_EQ(PipeCalls(PipeCall::kClose), 1u);
    EXPECT_TRUE(Group::Runs("b"));
    group.pm.Report({{"b", 1001, kCrashed, 512 + 6}});
    EXPECT_EQ(Group::State("b"), AppStateType::TERMINATED);
    EXPECT_TRUE(group.Start());
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "a"), 1u);
    EXPECT_EQ(HeartBeatRecords().size(), 1u);
    const PmRequest load = DecodeRequest(SentRecords().at(0).bytes);
    EXPECT_EQ(load.type, static_cast<uint32_t>(kLoad));
    EXPECT_EQ(load.configuration.path, "/dev/null");
    EXPECT_EQ(load.configuration.matchData,
              (std::map<std::string, std::string>{{"PLACE", "left"}}));
}

}  // namespace
}  // namespace GrpOwnerTest
