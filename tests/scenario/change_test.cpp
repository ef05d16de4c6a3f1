// Change sets: what is terminated, started and restarted, in which order and with which results.

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

using ProcMgr::AppInfoForServer;

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
