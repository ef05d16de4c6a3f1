// How long queries and the stop of a whole group wait, on a clock that only waiting moves.

#include "src/manager/application_manager.h"
#include "src/server/grp_owner_server.h"
#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;
using ProcMgr::Milliseconds;
using ProcMgr::Now;
using Names = std::vector<std::string>;

/// "done" or "failed", then name pid state of each answer.
std::string Query(const Names& names, int timeout) {
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
    Group group({App("a"), App("b").Driving()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    SetSendHook(nullptr);
    const std::map<int, int> waits = {{50, 4500}, {999, 999}, {1000, 900}, {5000, 4500}};
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

// Driving applications first, then base ones, with a pause after each phase; who does not end is
// tried three times and keeps the base up.
SCENARIO(Waiting, StopAll) {
    Group group({App("base"), App("d").Driving(), App("e").Driving(), App("idle").Driving()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    std::map<std::string, bool> results;
    ASSERT_EQ(group.owner.ChangeAppState({}, {"d", "e"}, {}, results), 0);
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

}  // namespace
}  // namespace GrpOwnerTest
