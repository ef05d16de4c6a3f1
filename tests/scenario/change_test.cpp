// Change sets: what is terminated, started and restarted, in which order and with which results;
// also when the process manager dies or the owner does.

#include <cstdlib>
#include <thread>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

using ProcMgr::AppInfoForServer;

constexpr int kBrokenPipe = -32;
constexpr int kShort = 100;  // milliseconds; for waits that nothing ends

struct Apps : std::vector<AppInfoForServer> {
    Apps(std::initializer_list<const char*> names) {
        for (const char* name : names) {
            push_back({name, {}, {}});
        }
    }
};

/// "done" or "failed", then name=number of each result.
std::string Change(const Apps& term, const Apps& start, const Apps& restart, int timeout = 5000) {
    std::vector<ProcMgr::AppChangeInfo> results;
    const bool isDone =
        ApplicationManager::GetInstance().ChangeApp(term, start, restart, results, timeout);
    std::string text = isDone ? "done" : "failed";
    for (const auto& result : results) {
        text += " " + result.name + "=" + std::to_string(static_cast<uint32_t>(result.state));
    }
    return text;
}

Texts List() {
    Texts names;
    EXPECT_TRUE(ApplicationManager::GetInstance().QueryAppList(names));
    return names;
}

// What fails takes down its dependants at once and nothing else: unknown names, a start that cannot
// be, and the restart phase still runs. Of a name listed twice the last entry counts.
SCENARIO(Change, FailuresOfSome) {
    Group group({App("bus"), App("down").Driving(), App("bad").Driving(),
                 App("mid").Driving().DependsOn({"bad"}), App("twice").Driving()});
    group.pm.SetFate("bad", Fate::kCannotStart);
    ASSERT_TRUE(group.EnableAndStart());
    Apps start = {"mid", "bad", "twice", "nobody", "twice"};
    start[2].argv = {"old"};
    start[4].argv = {"new"};
    EXPECT_EQ(Change(Apps{"nobody", "down"}, start, Apps{"down", "bus", "stranger"}),
              "failed bad=6 mid=2 nobody=2 twice=0 down=0 nobody=4 bus=0 down=3 stranger=3");
    EXPECT_EQ(group.pm.LastRequest("twice").arguments, Texts{"new"});
    EXPECT_TRUE(Logged(kError, "Term app failed. (name=nobody,result=INIT)"));
    group.pm.SetFate("bus", Fate::kCannotStart);  // is no reason to wait, either
    EXPECT_EQ(Change({}, {}, Apps{"bus"}), "failed bus=6");
    EXPECT_EQ(CountLog(kError, "RestartApps failed time-out"), 0u);
}

// A phase that ends by its time-out, or that never began, skips the later ones; each has a deadline
// of its own, and a time-out of 0 keeps the last one.
SCENARIO(Change, PhaseFails) {
    Group group({App("quick"), App("stubborn"), App("late").Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    const Apps both = {"quick", "stubborn"};
    group.pm.SetFate("stubborn", Fate::kStaysSilent);
    EXPECT_EQ(Change({}, {}, both, 100), "failed quick=0 stubborn=3");
    EXPECT_EQ(Change(both, Apps{"late"}, {}, 0), "failed quick=0 stubborn=1");
    EXPECT_TRUE(Logged(kError, "ChangeApp failed. because TermApps failed time-out."));
    ScriptManifest(ManifestCall::kTermGraph, -1);
    EXPECT_EQ(Change(both, Apps{"late"}, {}), "failed quick=1 stubborn=1");
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "late"), 0u);
}

// An instance of a template that is terminated and restarted in one change set: its record is there
// for the restart however the report of its end and the restart race, and gone when it stays down.
SCENARIO(Change, TemplateAnew) {
    Group group({App("base"), App("tool").Template().Restart("on-forever")});
    ASSERT_TRUE(group.EnableAndStart());
    const Apps tool = {"tool"};
    EXPECT_EQ(Change(tool, {}, {}), "done tool=0");  // never started
    EXPECT_EQ(List(), Texts{"base"});
    EXPECT_EQ(Change({}, tool, {}), "done tool=0");
    EXPECT_EQ(Change(tool, {}, tool), "done tool=0 tool=0");  // a fresh record could not restart
    EXPECT_EQ(Change(tool, {}, {}), "done tool=0");
    EXPECT_TRUE(WaitUntil([] { return List().size() == 1; }));
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedRestart, "tool"), 1u);
}

// A late result of an earlier change set that comes before the graph is in place: the name would be
// offered until the deadline, since its result is not taken again. Of two results of a termination
// the first counts, of a start the last.
TEST(Change, LateAndDoubledResults) {
    ParseAndDepend::GetInstance().SetApplicationDependsMap({{"a", {}}});
    std::vector<std::string> unknown;
    DependGraph graph;
    ASSERT_TRUE(ParseAndDepend::GetInstance().GetTermGraphWithErrApp({"a"}, graph, unknown));
    ProcMgr::TermAppInfo term;
    term.Request(Apps{"a"});
    term.Report("a", AppChangeState::SUCCESS);
    term.SetGraph(std::move(graph));
    EXPECT_TRUE(term.IsGraphEmpty());
    term.Report("a", AppChangeState::TERM_FAILED);
    ProcMgr::StartAppInfo start;
    start.Request("a");
    start.Report("a", AppChangeState::START_FAILED);
    start.Report("a", AppChangeState::SUCCESS);
    std::vector<ProcMgr::AppChangeInfo> results;
    EXPECT_TRUE(term.AppendTo(results) && start.AppendTo(results));
}

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
