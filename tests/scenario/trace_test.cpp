// What an observer sees: every step knows what led to it, and what is lost is told.

#include "grpowner/trace.h"

#include <algorithm>
#include <thread>

#include "src/server/grp_owner_server.h"
#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

using ProcMgr::OwnerTrace;
using ProcMgr::TraceEvent;
using ProcMgr::TraceKind;

constexpr uint32_t kUser = 4711;

std::vector<TraceEvent> All() {
    return OwnerTrace::Read(0, SIZE_MAX);
}

const TraceEvent& LastOf(const std::vector<TraceEvent>& events, TraceKind kind,
                         const std::string& application = {}) {
    const auto found = std::find_if(events.rbegin(), events.rend(), [&](const TraceEvent& event) {
        return event.kind == kind && event.application == application;
    });
    static const TraceEvent none;
    return found == events.rend() ? none : *found;
}

/// The kinds and applications from a step back to what has no cause.
std::string Chain(const std::vector<TraceEvent>& events, TraceEvent event) {
    static const char* const names[] = {"request", "",       "phase", "",      "",       "released",
                                        "sent",    "report", "said",  "moved", "result", "limiter"};
    std::string text;
    while (true) {
        text += names[static_cast<size_t>(event.kind)];
        text += event.application.empty() ? "" : ":" + event.application;
        if (event.cause == 0 || event.cause >= event.sequence) {
            return text + (event.cause == 0 ? "" : " from the future");
        }
        text += " < ";
        event = events[event.cause - events.front().sequence];
    }
}

// From the result of the last application back to who asked; an end that nobody asked for begins a
// chain of its own. A termination is released by its dependant's.
SCENARIO(Trace, LeadsBackToWhoAsked) {
    OwnerTrace::Open(1000, [] { return ProcMgr::TraceRequester{kUser, 1}; });
    Group group({App("a").Restart("on-failure"), App("b").DependsOn({"a"})});
    ASSERT_TRUE(group.EnableAndStart());
    auto events = All();
    EXPECT_EQ(
        Chain(events, LastOf(events, TraceKind::RESULT, "b")),
        "result:b < moved:b < report:b < sent:b < released:b < result:a < moved:a < report:a < "
        "sent:a < released:a < phase < request");
    EXPECT_EQ(events.front().value, kUser);
    EXPECT_EQ(LastOf(events, TraceKind::REQUEST_END).value, 1u);

    group.pm.Report({{"a", group.pm.PidOf("a"), kCrashed, 11}});
    ASSERT_TRUE(group.pm.WaitIdle());
    events = All();
    EXPECT_EQ(Chain(events, LastOf(events, TraceKind::TRANSITION, "a")),
              "moved:a < report:a < sent:a < limiter:a < report:a");

    std::vector<ProcMgr::AppChangeInfo> results;
    const std::vector<ProcMgr::AppInfoForServer> both{{"a", {}, {}}, {"b", {}, {}}};
    EXPECT_TRUE(ProcMgr::GrpOwnerServer().ChangeApp(both, {}, {}, results, 5000));
    events = All();
    EXPECT_EQ(
        Chain(events, LastOf(events, TraceKind::RESULT, "a")),
        "result:a < moved:a < report:a < sent:a < released:a < result:b < moved:b < report:b < "
        "sent:b < released:b < phase < request");
    const ProcMgr::TraceSnapshot snapshot = OwnerTrace::Snapshot();
    ASSERT_EQ(snapshot.applications.size(), 2u);
    EXPECT_EQ(snapshot.applications[0].state, AppStateType::TERMINATED);
    EXPECT_EQ(snapshot.applications[0].restarts, 1u);
}

// A result behind its phase's time-out is a late one, once, and none of a later phase.
SCENARIO(Trace, LateResults) {
    OwnerTrace::Open(1000, nullptr);
    Group group({App("quick"), App("slow").Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    group.pm.Hold();
    std::vector<ProcMgr::AppChangeInfo> results;
    const std::vector<ProcMgr::AppInfoForServer> slow{{"slow", {}, {}}};
    EXPECT_FALSE(ProcMgr::GrpOwnerServer().ChangeApp({}, slow, {}, results, 100));
    auto events = All();
    EXPECT_NE(LastOf(events, TraceKind::TIME_OUT).sequence, 0u);
    EXPECT_EQ(LastOf(events, TraceKind::RESULT, "slow").sequence, 0u);
    group.pm.Release();
    ASSERT_TRUE(group.pm.WaitIdle() && WaitUntil([] { return Group::Runs("slow"); }));
    events = All();
    EXPECT_GE(LastOf(events, TraceKind::RESULT, "slow").extra, 1u);
    EXPECT_GE(OwnerTrace::Snapshot().applications.back().lateBy, 1u);
}

// The ring turns: the oldest go, sequences go on, and a wait ends with the next step.
SCENARIO(Trace, KeepsTheLast) {
    OwnerTrace::Open(4, nullptr);
    Group group({App("a")});
    ASSERT_TRUE(group.EnableAndStart());
    const ProcMgr::TraceSnapshot snapshot = OwnerTrace::Snapshot();
    EXPECT_EQ(snapshot.next - snapshot.first, 4u);
    EXPECT_EQ(OwnerTrace::Read(1, 2).front().sequence, snapshot.first);
    EXPECT_TRUE(OwnerTrace::Read(snapshot.next, 9).empty());
    std::thread waiting(
        [&] { EXPECT_TRUE(OwnerTrace::Wait(snapshot.next, std::chrono::minutes(1))); });
    group.pm.Report({{"a", group.pm.PidOf("a"), kCrashed, 11}});
    waiting.join();
}

}  // namespace
}  // namespace GrpOwnerTest
