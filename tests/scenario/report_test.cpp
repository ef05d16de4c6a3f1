// What reports, own words, heartbeats and query answers do to records and subscribers.

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

constexpr uint32_t kPid = 1000;  // of the first application that is started

// Each kind of report for a running application: the subscriber hears of an end before the record
// moves and of a start after it, with the record's pid; where the record stands then.
TEST(Report, NoticesAndStates) {
    const auto running = AppStateType::RUNNING;
    const auto ended = AppStateType::TERMINATED;
    const struct {
        PmReport report;
        Texts notices;
        AppStateType state;
    } kCases[] = {
        {{"a", 77, kStarted}, {"a 77 SWITCH_ON RUNNING"}, running},
        {{"a", 77, kRestarted}, {"a 1000 SWITCH_OFF RUNNING", "a 77 SWITCH_ON RUNNING"}, running},
        {{"a", kPid, kTermTimeOut}, {}, running},
        {{"a", kPid, kExited}, {"a 1000 SWITCH_OFF RUNNING"}, ended},
        {{"a", kPid, kCrashed, 512 + 11}, {"a 1000 ABNORMAL_EXIT RUNNING"}, ended},
    };
    for (const auto& item : kCases) {
        SCOPED_TRACE(item.report.name + " type " + std::to_string(item.report.type));
        RunIsolated([&item] {
            Group group({App("a"), App("self").Reporting()});
            ASSERT_TRUE(group.EnableAndStart());
            // Not of one that was not yet running when its started report came.
            EXPECT_EQ(group.Notices(), Texts{"a 1000 SWITCH_ON RUNNING"});
            group.ForgetNotices();
            group.pm.Report({item.report});
            EXPECT_EQ(group.Notices(), item.notices);
            EXPECT_EQ(Group::State("a"), item.state);
        });
    }
}

// Records with everything in them: what cannot be used is said and the rest still applied.
SCENARIO(Report, MixedRecord) {
    Group group({App("a"), App("b")});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_TRUE(Deliver(EncodeQueryAnswer({{"a", 2}, {"b", 7}, {"stranger", 1}})));
    group.pm.Report({{"stranger", 5, kStarted},
                     {"a", kPid, 5},
                     {"b", kPid + 1, kCrashed, 256 + 3},
                     {"a", kPid, kExited}});
    EXPECT_EQ(Group::Find("a")->GetDetailStatus(), 2u);
    EXPECT_EQ(Group::Find("b")->GetDetailStatus(), 3u);
    EXPECT_TRUE(LoggedInOrder({
        {kEvent, "GrpOwnerServer: stranger is not in this group."},
        {kEvent, "Receive app state from pm. (appName=stranger,state=RUNNING_NORMAL_START,pid=5)"},
        {kError, "GrpOwnerServer: ReportAppStateFromProcMgr app:a state is unknown !"},
        {kError, "Receive app abnormal exit. (appName=b,pid=1001, reason=259)"},
        {kEvent, "Notify app state begin. (name=a,pid=1000,state=SWITCH_OFF)"},
        {kWarning, "GrpOwnerServer: ReportAppStateFromProcMgr end."},
    }));
}

// An application's own words: "on" starts the heartbeat check and moves a record that nobody had
// asked to start; "off" moves nothing; a stranger's word only leaves a line.
SCENARIO(Report, OwnWords) {
    Group group({App("a").Driving().HeartBeat(7)});
    ASSERT_TRUE(group.Enable());
    group.SayReady("a", 42);
    EXPECT_TRUE(Group::Runs("a"));
    EXPECT_TRUE(IsChecked("a"));
    (void)group.owner.ReportAppStateFromApp("a", 42, AppReportState::SWITCH_OFF);  // no meaning
    EXPECT_TRUE(Group::Runs("a"));
    group.SayReady("stranger", 9);
    EXPECT_TRUE(LoggedInOrder(
        {{kEvent, "GrpOwnerServer: ReportAppStateFromApp. (appName=a,state=off,pid=42)"},
         {kEvent,
          "ReportAppStateFromApp nodeName:stranger pid:9  cannot found in GrpOwner(with cfg). so "
          "add the appMonitor"}}));
    EXPECT_EQ(group.Notices(), Texts{});
}

// A subscriber that throws stops neither the report that it was told of, nor the next one, nor the
// heartbeat service's thread.
SCENARIO(Report, SubscriberThrows) {
    Group group({App("a").HeartBeat(7), App("b")});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_EQ(group.owner.SubscribeAppState([](const std::string&, int, AppReportState) -> bool {
        throw std::runtime_error("no");
    }),
              0);
    EXPECT_EQ(NotifyHeartBeat("a", kPid, 1), 1);
    group.pm.Report({{"a", kPid, kExited}, {"b", kPid + 1, kCrashed, 9}});
    EXPECT_EQ(Group::State("a"), AppStateType::TERMINATED);
    EXPECT_EQ(Group::State("b"), AppStateType::TERMINATED);
    EXPECT_TRUE(Logged(kError, "GroupOwner: the subscriber of app states failed: no. (app=b)"));
}

// Gives both subscribers reason to be called.
bool IsNoticeToldToSubscriber() {
    ClearLog();
    EXPECT_EQ(NotifyHeartBeat("a", kPid, 1), 1);
    const bool isAnswered = Ask(kSetSystemState, "1") == "1#";
    return isAnswered || Logged(kError, "GroupOwner: the subscriber of app states failed. (app=a)");
}

// A subscriber that is replaced may use the owner while it ends. At exit, when what it has bound
// goes too, none is called any more.
SCENARIO(Report, SubscribersThatEnd) {
    // This runs behind the owner's own end.
    (void)std::atexit([] { IsNoticeToldToSubscriber() ? std::_Exit(1) : void(); });
    Group group({App("a").HeartBeat(7)});
    ASSERT_TRUE(group.EnableAndStart());
    const auto ending = [] {
        return std::shared_ptr<void>(nullptr, [](auto&&) { (void)IsNoticeToldToSubscriber(); });
    };
    for (int i = 0; i < 2; ++i) {
        (void)group.owner.SubscribeAppState([bound = ending()](auto&&...) -> bool { throw 1; });
        (void)group.owner.SubscribeSystemState([bound = ending()](auto&&...) { return true; });
    }
    EXPECT_TRUE(IsNoticeToldToSubscriber());
}

// What the owner says of itself; and after disabling nothing is sent or checked any more.
SCENARIO(Report, SelfStateAndDisable) {
    Group group({App("a").HeartBeat(7)});
    ASSERT_TRUE(group.EnableAndStart());
    for (const bool isFine : {true, false}) {
        EXPECT_EQ(group.owner.ReportSelfStateToPm(isFine), 0);
        EXPECT_EQ(DecodeRequest(SentRecords().back().bytes).baseState, isFine ? 2u : 3u);
    }
    ASSERT_TRUE(group.pm.WaitIdle());
    EXPECT_EQ(group.owner.GrpOwnerDisable(), 0);
    EXPECT_FALSE(IsChecked("a"));
    EXPECT_EQ(HeartBeatRecords().back().call, HeartBeatCall::kStopAllChecks);
    EXPECT_NE(group.owner.ReportSelfStateToPm(true), 0);
    group.pm.Report({{"a", kPid, kExited}});  // the pipe is still open and reports still arrive
    EXPECT_EQ(Group::State("a"), AppStateType::TERMINATED);
    EXPECT_FALSE(group.Start());
}

}  // namespace
}  // namespace GrpOwnerTest
