// How long queries and the stop of a whole group wait, on a clock that only waiting moves.

#include "src/common/sync_seeded.h"
#include "src/server/grp_owner_server.h"
#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

using ProcMgr::Milliseconds;
using ProcMgr::Now;

/// "done" or "failed", then name pid state of each answer.
std::string Query(const Texts& names, int timeout) {
    std::vector<ProcMgr::AppStatus> states;
    ProcMgr::GrpOwnerServer server;
    std::string text = server.QueryAppState(names, states, timeout) ? "done" : "failed";
    for (const auto& state : states) {
        text +=
            " " + state.name + " " + std::to_string(state.pid) + " " + std::to_string(state.state);
    }
    return text;
}

// Nobody answers: the query ends by its time-out and keeps what it knew. An answer may come before
// the request has even left.
SCENARIO(Waiting, Query) {
    const ProcMgr::Seeded::Run run({});
    Group group({App("a"), App("b").Driving()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    SetSendHook(nullptr);
    const std::map<int, int> waits = {{-1, 4500},  {99, 4500},   {100, 100},   {999, 999},
                                      {1000, 900}, {4999, 4899}, {5000, 4500}, {5001, 4501}};
    for (const auto& [timeout, wait] : waits) {
        const auto begin = Now();
        EXPECT_EQ(Query({"a", "nobody"}, timeout), "failed nobody -1 1");
        EXPECT_EQ(Now() - begin, Milliseconds(wait));
    }
    EXPECT_EQ(Query({"nobody"}, 100), "done nobody -1 1");  // nobody has to be asked
    SetSendHook([](const SentRecord&) { (void)Deliver(EncodeQueryAnswer({{"a", 2}, {"b", 7}})); });
    EXPECT_EQ(Query({"b", "nobody", "a"}, 100), "done nobody -1 1 b -1 3 a 1000 2");
    ScriptPipe(PipeCall::kSend, -32);
    EXPECT_EQ(Query({"a"}, 100), "failed");
}

// A reload whose tables are swapped in the middle of a boot, and of a record of reports: each start
// and each report is in the record that stays.
TEST(Waiting, ReloadMeanwhile) {
    ForSeeds(50, [](uint64_t seed) {
        ProcMgr::Seeded::Options options;
        options.seed = seed;
        const ProcMgr::Seeded::Run run(options);
        std::vector<ManifestFields> apps;
        std::vector<PmReport> ends;
        for (const char name : std::string("abcdefghijkl")) {
            apps.push_back(App(std::string(1, name)));
            ends.push_back({apps.back().appName, 1, kExited});
        }
        Group group(apps);
        group.pm.SetHabits({100});
        ASSERT_TRUE(group.Enable());
        ProcMgr::Mutex point;  // at which another thread may go on
        const auto reloadFrom = [&point](const std::function<bool()>& isTime) {
            bool isReloading = false;
            SetParseHook([&point, &isReloading, isTime] {
                isReloading = true;
                while (!isTime()) {
                    const ProcMgr::MutexLock lock(point);
                }
            });
            auto thread = ProcMgr::Seeded::Begin(
                "reload", [] { EXPECT_TRUE(ApplicationManager::GetInstance().ReloadCfg()); });
            while (!isReloading) {
                const ProcMgr::MutexLock lock(point);
            }
            return thread;
        };
        auto reload = reloadFrom(
            [] { return CountLog(kWarning, "StartNoDependsApps add c to startAppList.") > 0; });
        EXPECT_TRUE(group.Start());
        reload = {};
        reload = reloadFrom([] { return !Group::Runs("c"); });
        group.pm.Report(ends);
        reload = {};
        for (const ManifestFields& app : apps) {
            EXPECT_EQ(Group::State(app.appName), AppStateType::TERMINATED) << app.appName;
        }
    });
}

// Driving applications first, then base ones, with a pause after each phase; who does not end is
// tried three times and keeps the base up.
SCENARIO(Waiting, StopAll) {
    const ProcMgr::Seeded::Run run({});
    Group group({App("base"), App("d").Driving(), App("e").Driving(), App("idle").Driving()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    std::map<std::string, bool> results;
    ASSERT_EQ(group.owner.ChangeAppState({}, {"d", "e"}, {}, results), 0);
    EXPECT_EQ(results, (std::map<std::string, bool>{{"d", true}, {"e", true}}));
    ProcMgr::GrpOwnerServer server;
    group.pm.SetFate("e", Fate::kStaysSilent);
    auto begin = Now();
    EXPECT_FALSE(server.StopAllApp());
    EXPECT_EQ(Now() - begin, Milliseconds(3 * (4500 + 1000)));
    EXPECT_TRUE(Logged(kWarning, "StopAllApp drivingAppTermList 3 loop: e term failed state: 1"));
    EXPECT_TRUE(Group::Runs("base"));
    group.pm.SetFate("e", Fate::kRuns);
    begin = Now();
    EXPECT_TRUE(server.StopAllApp());
    EXPECT_EQ(Now() - begin, Milliseconds(2 * 1000));
    EXPECT_EQ(Group::State("base"), ProcMgr::AppStateType::TERMINATED);
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedTerm, "idle"), 0u);
}

// An application that ignores the first request to end is told again when another one has ended.
// Another stop in the middle of the first finds it in progress, in all of its passes, and fails.
SCENARIO(Waiting, StopAllOfAStubbornApplicationAndASecondStop) {
    const ProcMgr::Seeded::Run run({});
    Group group({App("base"), App("stubborn").Driving(), App("tool").Template()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_EQ(AskChange({}, {"stubborn", "tool"}), "3#1#stubborn#0#tool#0#");
    group.pm.SetFate("stubborn", Fate::kStaysSilent);
    std::string second;
    ASSERT_EQ(group.owner.SubscribeAppState([&](const std::string& name, int, auto) {
        if (name == "tool") {
            second = Ask(kStopAll);
            group.pm.SetFate("stubborn", Fate::kRuns);
        }
        return true;
    }),
              0);
    EXPECT_EQ(Ask(kStopAll), "1");
    EXPECT_EQ(second, "0");
    EXPECT_EQ(Group::State("stubborn"), ProcMgr::AppStateType::TERMINATED);
    EXPECT_EQ(Ask(kStopAll), "1");  // once more, with nothing left to do
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedTerm, "base"), 1u);
}

}  // namespace
}  // namespace GrpOwnerTest
