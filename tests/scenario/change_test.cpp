// Change sets: what is terminated, started and restarted, in which order and with which results.

#include <thread>

#include "src/manager/application_manager.h"
#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
using ProcMgr::AppInfoForServer;
using ProcMgr::ApplicationManager;
using ProcMgr::AppStateType;
using Names = std::vector<std::string>;

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

Names List() {
    Names names;
    EXPECT_TRUE(ApplicationManager::GetInstance().QueryAppList(names));
    return names;
}

// Dependants stop first, what is new starts when all of them are down, restarts come last; the
// subscriber knows of the terminations before the first.
SCENARIO(Change, PhasesInOrder) {
    Group group({App("bus"), App("top").DependsOn({"mid"}), App("mid").DependsOn({"low"}),
                 App("low"), App("new").Driving().DependsOn({"bus"}),
                 App("later").Driving().DependsOn({"new"})});
    group.pm.SetHabits({50});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_TRUE(group.pm.WaitIdle());
    const size_t booted = group.pm.Events().size();
    group.ForgetNotices();
    std::map<std::string, bool> results;
    // Without "mid" the order still goes through it.
    EXPECT_EQ(group.owner.ChangeAppState({"low", "top"}, {"later", "new"}, {"bus"}, results), 0);
    EXPECT_EQ(Asked(group, booted),
              (Names{"term top", "term low", "start new", "start later", "restart bus"}));
    EXPECT_EQ(results.size(), 5u);
    EXPECT_EQ(group.Notices().at(0), "low 0 ACTIVELY_EXIT RUNNING");
    EXPECT_EQ(group.Notices().at(1), "top 0 ACTIVELY_EXIT RUNNING");
    EXPECT_TRUE(LoggedInOrder({
        {kEvent, "ChangeApp begin. (term=2,start=2,restart=1,timeout=5000)"},
        {kInfo, "TermApps ... "},
        {kWarning, "ApplicationManager: Add to termAppList term info: name=top "},
        {kEvent, "ApplicationManager: ChangeApp end."},
    }));
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
    EXPECT_EQ(group.pm.LastRequest("twice").arguments, Names{"new"});
    EXPECT_TRUE(LoggedInOrder({{kEvent, "ApplicationManager: ChangeApp end."},
                               {kError, "Term app failed. (name=nobody,result=INIT)"}}));
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
    EXPECT_TRUE(LoggedTimes(kEvent, "ApplicationManager: ChangeApp end.", 0));
}

// While one change set waits, others are refused and dumps are not; the report that an earlier one
// did not live to see ends it.
SCENARIO(Change, OneAtATime) {
    Group group({App("a"), App("x"), App("b").DependsOn({"x", "a"}).Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    group.pm.SetFate("a", Fate::kStaysSilent);
    EXPECT_EQ(Change(Apps{"a"}, {}, {}, 100), "failed a=1");
    std::thread change([] { EXPECT_EQ(Change(Apps{"a"}, Apps{"x"}, {}), "done x=0 a=0"); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedTerm, "a") == 2; }));
    EXPECT_EQ(Change(Apps{"a"}, {}, {}), "failed");
    EXPECT_TRUE(Logged(kError, "ChangeApp failed, because it is in transition."));
    ApplicationManager::GetInstance().ApplicationDump();
    EXPECT_TRUE(LoggedInOrder(
        {{kEvent, "isTransitionFinished_=0 isReloading_=0"}, {kWarning, "app=b depend=a x "}}));
    group.pm.Report({{"a", group.pm.PidOf("a"), kExited}});
    change.join();
}

// An instance of a template that is terminated and restarted in one change set: its record is there
// for the restart however the report of its end and the restart race, and gone when it stays down.
SCENARIO(Change, TemplateAnew) {
    Group group({App("base"), App("tool").Template().Restart("on-forever")});
    ASSERT_TRUE(group.EnableAndStart());
    const Apps tool = {"tool"};
    auto& manager = ApplicationManager::GetInstance();
    EXPECT_TRUE(manager.GrpOwnerVerifyApp({{"base", 1}, {"tool", 2}}));
    EXPECT_FALSE(manager.GrpOwnerVerifyApp({{"tool", 3}}));
    EXPECT_FALSE(manager.GrpOwnerVerifyApp({{"nobody", 0}}));
    EXPECT_EQ(Change(tool, {}, {}), "done tool=0");  // never started
    EXPECT_EQ(List(), Names{"base"});
    EXPECT_EQ(Change({}, tool, {}), "done tool=0");
    EXPECT_EQ(Change(tool, {}, tool), "done tool=0 tool=0");  // a fresh record could not restart
    EXPECT_EQ(Change(tool, {}, {}), "done tool=0");
    EXPECT_TRUE(WaitUntil([] { return List().size() == 1; }));
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedRestart, "tool"), 1u);
}

// A late result of an earlier change set that comes before the graph is in place: the name would be
// offered until the deadline, since its result is not taken again.
TEST(Change, ResultBeforeTheGraph) {
    ParseAndDepend::GetInstance().SetApplicationDependsMap({{"a", {}}});
    std::vector<std::string> unknown;
    DependGraph graph;
    ASSERT_TRUE(ParseAndDepend::GetInstance().GetTermGraphWithErrApp({"a"}, graph, unknown));
    ProcMgr::TermAppInfo batch;
    batch.Request(Apps{"a"});
    batch.Report("a", AppChangeState::SUCCESS);
    batch.SetGraph(std::move(graph));
    EXPECT_TRUE(batch.IsGraphEmpty());
}

}  // namespace
}  // namespace GrpOwnerTest
