// Change sets whose process manager dies or answers late, and the end of the owner's own process.

#include <cstdlib>
#include <thread>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

constexpr int kBrokenPipe = -32;
constexpr int kShort = 100;  // milliseconds; for waits that nothing ends

// The process manager dies before a start, and between the terminations and the start. Starts that
// cannot be sent fail at once, restarts by their time-out, and after enabling again change sets go
// on from where the applications were left.
SCENARIO(LinkFailure, ProcessManagerDies) {
    Group group({App("old"), App("kept"), App("new").Driving(), App("next").Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    ScriptPipe(PipeCall::kSend, kBrokenPipe, 2);
    EXPECT_EQ(AskChange({}, {"new"}, {"kept"}, kShort), "3#0#new#2#kept#3#");
    ASSERT_TRUE(group.Enable());
    EXPECT_EQ(AskChange({"kept"}, {"kept", "new"}), "4#1#kept#0#new#0#kept#0#");

    ASSERT_EQ(group.owner.SubscribeAppState([](const std::string&, int, auto state) {
        if (state == ProcMgr::AppReportState::SWITCH_OFF) {
            ScriptPipe(PipeCall::kSend, kBrokenPipe);
        }
        return true;
    }),
              0);
    EXPECT_EQ(AskChange({"old"}, {"next", "old"}), "4#0#next#2#old#2#old#0#");
    ASSERT_EQ(group.owner.SubscribeAppState(nullptr), 0);

    ASSERT_TRUE(group.Enable());
    EXPECT_EQ(AskChange({"kept", "next"}, {"kept", "next", "old"}, {"new"}),
              "7#1#kept#0#next#0#old#0#kept#0#next#0#new#0#");
}

// The result of a start that timed out comes inside the next change set, whose own start has waited
// for it.
SCENARIO(LinkFailure, LateResult) {
    Group group({App("slow").Driving(), App("user").Driving().DependsOn({"slow"})});
    ASSERT_TRUE(group.EnableAndStart());
    group.pm.Hold();
    EXPECT_EQ(AskChange({}, {"slow"}, {}, kShort), "2#0#slow#5#");
    ClearLog();
    std::thread next([] { EXPECT_EQ(AskChange({}, {"user"}), "2#1#user#0#"); });
    EXPECT_TRUE(WaitUntil([] { return CountLog(kWarning, "StartApps begin.") == 1; }));
    group.pm.Release();
    next.join();
}

// The process ends while reports are handled, requests wait and applications are restarted: nothing
// is used that is gone already, whichever thread is where.
TEST(LinkFailure, ExitWhileReportsArrive) {
    ForSeeds(10, [](uint64_t seed) {
        Group group({App("a").Restart("on-forever").HeartBeat(3), App("b").Restart("on-forever")},
                    seed);
        ASSERT_TRUE(group.EnableAndStart());
        for (int i = 0; i < 5000; ++i) {
            Post(EncodeReports({{"a", 1, kCrashed, 9}, {"b", 1, kRestarted}}));
        }
        std::thread([] { (void)AskChange({}, {}, {"a", "b"}); }).detach();
        EXPECT_TRUE(
            WaitUntil([&] { return group.pm.Count(PmEvent::kAskedRestart, "a") >= seed * 7; }));
        std::exit(testing::Test::HasFailure() ? 1 : 0);  // with the group and its threads alive
    });
}

}  // namespace
}  // namespace GrpOwnerTest
