// What goes wrong in a real group, and how it comes back or ends.
#include <csignal>

#include "tests/e2e/group.h"
#include "tests/support/process/word_socket.h"

namespace EndToEnd {

// The words of applications and the reports of the process manager come on two ways: here the
// reports are always the later ones.
TEST_F(Group, ReadinessMayOvertakeTheReportOfAStartAndOfARestart) {
    Manage({"--fault", "delay-reports=200"});
    const auto owner = Boot(
        "  first: {command: [probe, ready], readiness: notify}\n"
        "  second: {command: probe, depends_on: [first]}\n",
        {"DATAMASTER_RUN_MODE=1"});
    const pid_t pid = PidBehind(owner->Output(), "first   running   pid ");
    kill(pid, SIGSEGV);
    ASSERT_TRUE(owner->Says("was " + std::to_string(pid))) << owner->Output();
    EXPECT_EQ(kill(PidBehind(owner->Output(), "first   running   pid "), 0), 0);
    EndAll(*owner);
}

TEST_F(Group, ALostHeartbeatRestarts) {
    Manage();
    const auto owner = Boot("  heart: {command: [probe, beat], heartbeat: 200ms}\n");
    ASSERT_TRUE(manager_->Says("begun heart"));  // until then a signal is its end
    // A beat before the check is registered counts for nothing.
    ASSERT_TRUE(owner->Says("register heart beat check success")) << owner->Output();
    const pid_t pid = PidBehind(owner->Output(), "heart  running   pid ");
    kill(pid, SIGUSR1);
    ASSERT_TRUE(owner->Says("heartbeat lost")) << owner->Output();
    ASSERT_TRUE(owner->Says("was " + std::to_string(pid))) << owner->Output();
    EXPECT_NE(PidBehind(owner->Output(), "heart  running   pid "), pid);
    EndAll(*owner);
}

// An application that is ready only after the base start's time-out; until then a stranger pretends
// to be it.
TEST_F(Group, AStrangerIsNotBelievedAndALateOneLetsTheOthersStart) {
    const ProcessTest::WordSocket supervisor(Path("supervisor"));
    Manage();
    const auto owner =
        Own("  base: {command: probe}\n"
            "  late: {command: [probe, late], readiness: notify, depends_on: [base]}\n"
            "  last: {command: probe, depends_on: [late]}\n",
            {"NOTIFY_SOCKET=" + Path("supervisor")});
    ASSERT_TRUE(manager_->Says("begun late")) << manager_->Output();
    Daemon stranger({PROBE, "ready"}, {"NOTIFY_SOCKET=" + Path("run/own.notify"),
                                       "GRPOWNER_OWNER=own", "GRPOWNER_APPLICATION=late"});
    ASSERT_TRUE(stranger.Says("heard late")) << stranger.Output();

    ASSERT_TRUE(owner->Says("Not all started: 1 of 3")) << owner->Output();
    EXPECT_EQ(supervisor.Hear(), "READY=1\nSTATUS=1 of 3 base applications run");
    kill(PidBehind(manager_->Output(), "own/late: runs, pid "), SIGUSR2);
    ASSERT_TRUE(owner->Says("Done, 3 of 3")) << owner->Output();
    EndAll(*owner);
}

}  // namespace EndToEnd
