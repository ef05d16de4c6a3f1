// What a group does when something on its way up goes wrong.

#include <functional>

#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
using ProcMgr::AppStateType;

constexpr char kTimedOut[] = "StartApp failed. timeout=4500(ms)";

// A dependency that cannot start: what stands on it is marked as failed at once, not when the time
// is over, and what does not depend on it runs; the next boot brings up the rest.
TEST(BootFailure, DependencyFails) {
    const struct {
        Fate fate;
        const char* result;
    } kCases[] = {{Fate::kCrashes, "START_FAILED"},
                  {Fate::kExits, "START_FAILED"},
                  {Fate::kCannotStart, "START_FAILED_BY_EIO"}};
    for (const auto& item : kCases) {
        for (const bool inside : {false, true}) {
            RunIsolated([item, inside] {
                Group group({App("top").DependsOn({"middle"}), App("middle").DependsOn({"bad"}),
                             App("bad"), App("other")});
                group.pm.SetFate("bad", item.fate);
                group.pm.SetHabits({inside ? 100u : 0u});
                ASSERT_TRUE(group.Enable());
                EXPECT_FALSE(group.Start());
                ASSERT_TRUE(group.pm.WaitIdle());
                EXPECT_TRUE(Group::Runs("other"));
                EXPECT_EQ(Group::State("bad"), AppStateType::TERMINATED);
                EXPECT_EQ(Group::State("middle"), AppStateType::INITSTATE);
                EXPECT_TRUE(Logged(kEvent,
                                   "noDependsList is empty, and none of already start apps are "
                                   "starting."));
                EXPECT_TRUE(LoggedTimes(kError, kTimedOut, 0));
                EXPECT_TRUE(LoggedInOrder({
                    {kInfo, std::string("Start appName=bad state=") + item.result},
                    {kError, "mark middle to START_FAILED"},
                    {kInfo, "Start appName=other state=SUCCESS"},
                    {kError, "mark top to START_FAILED"},
                    {kError, "Base application start failed. (Name=top,result=START_FAILED)"},
                }));
                group.pm.SetFate("bad", Fate::kRuns);
                EXPECT_TRUE(group.Start());
                EXPECT_TRUE(Group::Runs("top"));
            });
        }
    }
}

// A dependency that is neither requested nor running ends the batch without waiting.
SCENARIO(BootFailure, DependencyNotRequestedAndDown) {
    Group group({App("a").DependsOn({"down"}), App("down").Driving()});
    ASSERT_TRUE(group.Enable());
    EXPECT_FALSE(group.Start());
    EXPECT_EQ(group.pm.Events().size(), 0u);
    EXPECT_TRUE(LoggedTimes(kError, kTimedOut, 0));
    EXPECT_TRUE(Logged(kError, "mark a to START_FAILED"));
}

// An application that never answers: the batch ends by its time-out; the report that comes after it
// still counts, harms nothing, and lets the next boot bring up what had been waiting.
SCENARIO(BootFailure, TimeOutAndLateReport) {
    Group group({App("a").DependsOn({"slow"}), App("slow")});
    group.pm.Hold();
    ASSERT_TRUE(group.Enable());
    EXPECT_FALSE(group.Start());
    EXPECT_TRUE(LoggedInOrder({
        {kError, kTimedOut},
        {kError, "mark a to START_FAILED"},
        {kError, "Base application start failed. (Name=slow,result=PROCESSING)"},
    }));
    group.pm.Release();
    ASSERT_TRUE(group.pm.WaitIdle());
    EXPECT_TRUE(Group::Runs("slow"));
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "a"), 0u);
    EXPECT_TRUE(group.Start());
    EXPECT_TRUE(Group::Runs("a"));
    // Reports of base applications reach the base batch for ever.
    group.pm.Report({{"slow", 1000, kExited}});
    group.SayReady("slow", 1000);
    EXPECT_EQ(Group::State("slow"), AppStateType::TERMINATED);
}

// A pipe that takes nothing: every application of the call fails at once, the refusal coming back
// on the sending thread, and once the pipe works again the next boot succeeds.
SCENARIO(BootFailure, SendFails) {
    constexpr int kBrokenPipe = -32;
    Group group({App("a").DependsOn({"b"}), App("b"), App("c")});
    ASSERT_TRUE(group.Enable());
    ScriptPipe(PipeCall::kSend, kBrokenPipe);
    EXPECT_FALSE(group.Start());
    EXPECT_TRUE(Logged(kError, "ProcMgrAgent : StartApp failed: SendRequestMsg failed"));
    for (const char* name : {"b", "c"}) {
        EXPECT_TRUE(Logged(kError, std::string("StartApp ") + name +
                                       " failed, because ProcMgrAgent StartApp failed"));
        EXPECT_EQ(Group::State(name), AppStateType::TERMINATED);
    }
    EXPECT_TRUE(LoggedTimes(kError, kTimedOut, 0));
    EXPECT_TRUE(group.Start());
}

// A dependency service that fails ends the boot with every application marked.
SCENARIO(BootFailure, NoGraph) {
    Group group({App("a")});
    ASSERT_TRUE(group.Enable());
    ScriptManifest(ManifestCall::kStartGraph, -1);
    EXPECT_FALSE(group.Start());
    EXPECT_TRUE(LoggedInOrder({
        {kError, "ParseAndDepend::GetInstance().GetStartGraphWithErrApp failed!"},
        {kError, "ApplicationManager: StartBaseApplication error."},
        {kError, "mark a to START_FAILED"},
    }));
    // A name that the dependency map does not know is said and marked.
    ParseAndDepend::GetInstance().SetApplicationDependsMap({});
    EXPECT_FALSE(group.Start());
    EXPECT_TRUE(Logged(kError, "App <a> is not in start graph, plz check start yaml."));
}

// What keeps the owner from being enabled is said, and when the host has mended it all goes well.
TEST(BootFailure, Enable) {
    const std::pair<std::function<void()>, std::vector<Expected>> kCases[] = {
        {[] { ScriptPipe(PipeCall::kOpen, -111); },
         {{kError,
           "GroupOwner: ProcMgrAgent RegAppStateChangeCallBack failed because ProcMgrAgent is not "
           "OK."}}},
        {[] { SetAnswer([](const SentRecord&) { return "-5"; }); },
         {{kError, "ProcMgrAgent : LoadStartupCfgInfo failed, result=-5"},
          {kError, "ApplicationManager init failed: LoadStartupCfgInfo failed"},
          {kError, "GroupOwner: ApplicationManager init failed."}}},
        {[] { ScriptManifest(ManifestCall::kParseYaml, -1); },
         {{kError, "ApplicationManager init: parse application manifest error !!! "},
          {kError, "GroupOwner: ApplicationManager init failed."}}},
    };
    for (const auto& item : kCases) {
        SCOPED_TRACE(item.second.front().text);
        RunIsolated([&item] {
            Group group({App("a")});
            item.first();
            EXPECT_EQ(group.owner.GrpOwnerEnable(), 1);
            EXPECT_TRUE(LoggedInOrder(item.second));
            SetAnswer(nullptr);
            EXPECT_TRUE(group.EnableAndStart());
        });
    }
}

// Enabling twice opens a new pipe, closes the old one and keeps what runs; the heartbeat to the
// process manager began with the first. Match data that cannot be had are no reason to fail.
SCENARIO(BootFailure, EnableTwice) {
    SetMatchData({{"PLACE", "left"}});
    Group group({App("a"), App("b").DependsOn({"a"})});
    ASSERT_TRUE(group.EnableAndStart());
    const int firstPipe = OpenPipe();
    ScriptManifest(ManifestCall::kReplaceData, -1);
    ASSERT_TRUE(group.Enable());
    EXPECT_TRUE(Logged(kError, "ParseToReplaceData failed."));
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
    EXPECT_EQ(load.path, "/dev/null");
    EXPECT_EQ(load.match, (std::map<std::string, std::string>{{"PLACE", "left"}}));
    EXPECT_TRUE(Logged(kInfo, "matchData first=PLACE second=left"));
}

}  // namespace
}  // namespace GrpOwnerTest
