// How applications that ended by themselves come back.

#include <algorithm>
#include <map>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

// Crashes the application as it runs now; the process manager knows nothing of it.
void Crash(Group& group, const std::string& name) {
    group.pm.Report({{name, group.pm.PidOf(name), kCrashed, 512 + 11}});
    ASSERT_TRUE(group.pm.WaitIdle());
}

// After a crash the policy decides, after an orderly exit nothing comes back.
TEST(Restart, Policy) {
    const std::map<std::string, bool> kPolicies = {
        {"no", false}, {"on-failure", true}, {"on-forever", true}, {"On-Failure", false}};
    for (const auto& [policy, comesBack] : kPolicies) {
        SCOPED_TRACE(policy);
        RunIsolated([policy = policy, comesBack = comesBack] {
            Group group({App("a").Restart(policy).Arguments({"-v"})});
            ASSERT_TRUE(group.EnableAndStart());
            const uint32_t pid = group.pm.PidOf("a");
            Crash(group, "a");
            EXPECT_EQ(group.pm.Count(PmEvent::kAskedRestart, "a"), comesBack ? 1u : 0u);
            EXPECT_EQ(Group::Runs("a"), comesBack);
            if (comesBack) {
                EXPECT_NE(static_cast<uint32_t>(Group::Find("a")->GetPid()), pid);
                EXPECT_EQ(group.pm.LastRequest("a").arguments, std::vector<std::string>{"-v"});
            }
            group.pm.Report({{"a", group.pm.PidOf("a"), kExited}});
            EXPECT_EQ(Group::State("a"), AppStateType::TERMINATED);
        });
    }
}

// A restart whose request a termination overtakes on its way brings up what nobody wants any more:
// it is ended again.
SCENARIO(Restart, OvertakenByTermination) {
    Group group({App("a").Restart("on-forever")});
    ASSERT_TRUE(group.EnableAndStart());
    group.pm.SetOvertaker([](uint32_t type) {
        EXPECT_EQ(type, kRestart);
        EXPECT_EQ(AskChange({"a"}, {}), "2#1#a#0#");
    });
    Crash(group, "a");
    EXPECT_EQ(group.pm.PidOf("a"), 0u);
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedTerm, "a"), 2u);
    EXPECT_EQ(Group::State("a"), AppStateType::TERMINATED);
}

// A crash whose report a termination crosses is the end that was wanted: nothing comes back.
SCENARIO(Restart, CrashCrossesTermination) {
    Group group({App("a").Restart("on-forever")});
    ASSERT_TRUE(group.EnableAndStart());
    const uint32_t pid = group.pm.PidOf("a");
    group.pm.Hold();
    std::thread change([] { EXPECT_EQ(AskChange({"a"}, {}), "2#1#a#0#"); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedTerm, "a") == 1; }));
    group.pm.Report({{"a", pid, kCrashed, 512 + 11}});
    change.join();
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedRestart, "a"), 0u);
    group.pm.Release();
    ASSERT_TRUE(group.pm.WaitIdle());
    EXPECT_EQ(Group::State("a"), AppStateType::TERMINATED);
}

// Five restarts a minute are allowed, the host's own too; the sixth is refused and what runs goes
// on; the attempt after it opens a new window. What is to run for ever is never refused.
SCENARIO(Restart, Limiter) {
    Group group({App("a").Restart("on-failure"), App("b").Restart("on-forever")});
    ASSERT_TRUE(group.EnableAndStart());
    for (size_t round = 1; round <= 6; ++round) {
        EXPECT_EQ(group.owner.GrpOwnerRestartApp("a"), 0);
        Crash(group, "b");
        EXPECT_EQ(group.pm.Count(PmEvent::kAskedRestart, "a"), std::min<size_t>(round, 5));
        EXPECT_TRUE(Group::Runs("a"));
        EXPECT_TRUE(Group::Runs("b"));
    }
    EXPECT_EQ(CountLog(kError, "RunningApplicationState Application:a cannot restart."), 1u);
    EXPECT_EQ(Group::Find("b")->GetRestartCount(), 0u);
    Crash(group, "a");
    EXPECT_TRUE(Group::Runs("a"));
    EXPECT_EQ(Group::Find("a")->GetRestartCount(), 1u);
}

}  // namespace
}  // namespace GrpOwnerTest
