// Change sets: what is terminated, started and restarted, in which order and with which results.

#include <algorithm>
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
using Apps = std::vector<AppInfoForServer>;
using Names = std::vector<std::string>;

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
TEST(Change, PhasesInOrder) {
    for (const unsigned inside : {0u, 100u}) {
        RunIsolated([inside] {
            Group group({App("bus"), App("top").DependsOn({"mid"}), App("mid").DependsOn({"low"}),
                         App("low"), App("new").Driving().DependsOn({"bus"}),
                         App("later").Driving().DependsOn({"new"})});
            group.pm.SetHabits({inside});
            ASSERT_TRUE(group.EnableAndStart());
            ASSERT_TRUE(group.pm.WaitIdle());
            const size_t booted = group.pm.Events().size();
            group.ForgetNotices();
            std::map<std::string, bool> results = {{"new", false}, {"other", false}};
            // Without "mid" the order still goes through it.
            EXPECT_EQ(
                group.owner.ChangeAppState({"low", "top"}, {"later", "new"}, {"bus"}, results), 0);
            EXPECT_EQ(Asked(group, booted),
                      (Names{"term top", "term low", "start new", "start later", "restart bus"}));
            EXPECT_EQ(results, (std::map<std::string, bool>{{"bus", true},
                                                            {"later", true},
                                                            {"low", true},
                                                            {"new", true},
                                                            {"other", false},
                                                            {"top", true}}));
            EXPECT_EQ(group.Notices().at(0), "low 0 ACTIVELY_EXIT RUNNING");
            EXPECT_EQ(group.Notices().at(1), "top 0 ACTIVELY_EXIT RUNNING");
            EXPECT_TRUE(LoggedInOrder({
                {kEvent, "ChangeApp begin. (term=2,start=2,restart=1,timeout=5000)"},
                {kWarning, "TermApps begin."},
                {kInfo, "TermApps ... "},
                {kWarning, "ApplicationManager: Add to termAppList term info: name=top "},
                {kWarning, "ApplicationManager: TermApps emAgent TermApp end. (return=0)"},
                {kWarning, "TermApps end."},
                {kWarning, "ApplicationManager: ChangeAppState restart begin."},
                {kWarning, "RestartApps done. (return=0)"},
                {kWarning, "ApplicationManager: ChangeAppState restart end."},
                {kEvent, "ApplicationManager: ChangeApp end."},
            }));
        });
    }
}

// What fails takes down its dependants at once and nothing else: unknown names, a start that cannot
// be, and the restart phase still runs. Of a name listed twice the last entry counts.
SCENARIO(Change, FailuresOfSome) {
    Group group({App("bus"), App("down").Driving(), App("bad").Driving(),
                 App("mid").Driving().DependsOn({"bad"}), App("twice").Driving()});
    group.pm.SetFate("bad", Fate::kCannotStart);
    ASSERT_TRUE(group.EnableAndStart());
    EXPECT_EQ(Change({{"nobody", {}, {}}, {"down", {}, {}}},
                     {{"mid", {}, {}},
                      {"bad", {}, {}},
                      {"twice", {"old"}, {}},
                      {"nobody", {}, {}},
                      {"twice", {"new"}, {}}},
                     {{"down", {}, {}}, {"bus", {}, {}}, {"stranger", {}, {}}}),
              "failed bad=6 mid=2 nobody=2 twice=0 down=0 nobody=4 bus=0 down=3 stranger=3");
    EXPECT_EQ(group.pm.LastRequest("twice").arguments, Names{"new"});
    EXPECT_TRUE(LoggedInOrder({
        {kError, "App <nobody> is not in term graph, plz check start yaml."},
        {kError, "mark mid to START_FAILED"},
        {kError, "RestartApp down failed. because cannot restart in this state!"},
        {kEvent, "ApplicationManager: ChangeApp end."},
        {kError, "Start app failed. (name=bad,result=START_FAILED_BY_EIO)"},
        {kError, "Term app failed. (name=nobody,result=INIT)"},
        {kError, "Restart app failed. (name=down,result=RESTART_FAILED)"},
    }));
}

// A phase that ends by its time-out, or that never began, skips the later ones; each has a deadline
// of its own, and a time-out of 0 keeps the last one.
SCENARIO(Change, PhaseFails) {
    Group group({App("quick"), App("stubborn"), App("late").Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    const Apps both = {{"quick", {}, {}}, {"stubborn", {}, {}}};
    group.pm.SetFate("stubborn", Fate::kStaysSilent);
    EXPECT_EQ(Change({}, {}, both, 100), "failed quick=0 stubborn=3");
    EXPECT_TRUE(Logged(kError, "RestartApps failed time-out"));
    EXPECT_EQ(Change(both, {{"late", {}, {}}}, {}, 0), "failed quick=0 stubborn=1");
    EXPECT_TRUE(Logged(kError, "ChangeApp failed. because TermApps failed time-out."));
    EXPECT_TRUE(Logged(kError, "mark stubborn to TERM_FAILED"));
    ScriptManifest(ManifestCall::kTermGraph, -1);
    EXPECT_EQ(Change(both, {{"late", {}, {}}}, {}), "failed quick=1 stubborn=1");
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "late"), 0u);
    EXPECT_TRUE(LoggedTimes(kEvent, "ApplicationManager: ChangeApp end.", 0));
}

// While one change set waits, others and a reload are refused, lists and dumps are not; the report
// that an earlier one did not live to see ends it.
SCENARIO(Change, OneAtATime) {
    Group group({App("a"), App("b").Driving(), App("tool").Template()});
    ASSERT_TRUE(group.EnableAndStart());
    group.pm.SetFate("a", Fate::kStaysSilent);
    EXPECT_EQ(Change({{"a", {}, {}}}, {}, {}, 100), "failed a=1");
    std::thread change([] {
        EXPECT_EQ(Change({{"a", {}, {}}}, {{"b", {}, {}}}, {}), "done b=0 a=0");
    });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedTerm, "a") == 2; }));
    EXPECT_EQ(Change({{"a", {}, {}}}, {}, {}), "failed");
    EXPECT_TRUE(Logged(kError, "ChangeApp failed, because it is in transition."));
    EXPECT_FALSE(ApplicationManager::GetInstance().ReloadCfg());
    EXPECT_EQ(List(), (Names{"a", "b"}));
    ApplicationManager::GetInstance().ApplicationDump();
    EXPECT_TRUE(LoggedInOrder({{kEvent, "dynamicManifests Info: "},
                               {kEvent, "isTransitionFinished_=0 isReloading_=0"},
                               {kWarning, "Parse_And_Depend adj Map: "},
                               {kWarning, "app=a depend="}}));
    group.pm.Report({{"a", group.pm.PidOf("a"), kExited}});
    change.join();
    EXPECT_TRUE(ApplicationManager::GetInstance().ReloadCfg());
    SetParseHook([] { EXPECT_EQ(Change({}, {}, {}), "failed"); });
    EXPECT_TRUE(ApplicationManager::GetInstance().ReloadCfg());
}

// An instance of a template that is terminated and started in one change set: its record is there
// for the start however the report of its end and the start race, and gone when it stays down.
SCENARIO(Change, TemplateAnew) {
    Group group({App("tool").Template().Restart("on-forever")});
    ASSERT_TRUE(group.EnableAndStart());
    const Apps tool = {{"tool", {}, {}}};
    EXPECT_EQ(Change(tool, {}, {}), "done tool=0");  // never started
    EXPECT_EQ(List(), Names{});
    for (int round = 1; round <= 300; ++round) {
        const std::string number = std::to_string(round);
        ASSERT_EQ(Change(tool, {{"tool", {}, {{2, {number}}}}}, {}), "done tool=0 tool=0");
        ASSERT_TRUE(Group::Runs("tool"));
        ASSERT_EQ(group.pm.LastRequest("tool").parameters.at(2), Names{number});
    }
    EXPECT_EQ(Change(tool, {}, tool), "done tool=0 tool=0");  // a fresh record could not restart
    EXPECT_EQ(Change(tool, {}, {}), "done tool=0");
    EXPECT_TRUE(WaitUntil([] { return List().empty(); }));
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedRestart, "tool"), 1u);
}

// A check of names and options names every offender and makes no record.
SCENARIO(Change, Verify) {
    Group group({App("a"), App("b").Driving(), App("tool").Template()});
    ASSERT_TRUE(group.Enable());
    const auto& manager = ApplicationManager::GetInstance();
    EXPECT_TRUE(manager.GrpOwnerVerifyApp({}));
    EXPECT_TRUE(manager.GrpOwnerVerifyApp({{"a", 0}, {"b", 1}, {"tool", 2}}));
    EXPECT_FALSE(manager.GrpOwnerVerifyApp({{"a", 3}, {"nobody", 0}}));
    EXPECT_FALSE(manager.GrpOwnerVerifyApp({{"nobody", 0}}));
    EXPECT_EQ(List(), (Names{"a", "b"}));
}

}  // namespace
}  // namespace GrpOwnerTest
