// The process as a whole: its command line, its end, and the faults that it can be told to have.
#include <filesystem>

#include "tests/support/process/word_socket.h"
#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using DaemonTest = GroupTest;

// Whether its owner does not come back or it is told to end itself: nothing ends before what needs
// it, who does not want to is killed, and an orderly end leaves no file.
TEST_F(DaemonTest, TakesGroupsDownInReverseOrder) {
    for (const bool isOwnerLost : {true, false}) {
        Boot(R"(
  logger: {command: probe}
  clock: {command: probe, depends_on: [logger]}
  camera: {command: [probe, stubborn], depends_on: [clock], stop_timeout: 50ms}
  planner: {command: probe, depends_on: [camera]}
)",
             {"--owner-grace", "0"});
        for (const char* const name : {"planner", "camera", "clock", "logger"}) {
            StartAndHear(name);
        }
        if (isOwnerLost) {
            owner->HangUp();
            EXPECT_TRUE(manager_->Says("rover/logger: ended")) << manager_->Output();
        }
        manager_->Signal(SIGTERM);
        EXPECT_EQ(manager_->Wait(), 0);
        EXPECT_TRUE(
            HasInOrder(manager_->Output(), {"down planner", "rover/camera: ended", "down clock",
                                            "rover/clock: ended", "down logger"}))
            << manager_->Output();
        EXPECT_TRUE(std::filesystem::is_empty(Path("run")));
    }
    for (const char* const name : {"planner", "camera", "clock", "logger"}) {
        Expect(name, Kind::kNormalExit);
    }
}

TEST_F(DaemonTest, TheSecondSigtermDoesNotWait) {
    Boot("  app: {command: [probe, stubborn], stop_timeout: 600s}\n");
    const pid_t pid = StartAndHear("app");
    manager_->Signal(SIGTERM);
    manager_->Signal(SIGINT);
    EXPECT_EQ(manager_->Wait(), 130);
    EXPECT_TRUE(HasEnded(pid));
}

TEST_F(DaemonTest, ThereIsOneAtATime) {
    Manage();
    Daemon second({PROCMGRD, "--run-dir", Path("run")});
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_TRUE(second.Says("another process manager serves")) << second.Output();
    EXPECT_EQ(Owner(Path("run")).Welcome(), 0);
}

// Its own supervisor hears from it, as long as it lives.
TEST_F(DaemonTest, SpeaksToItsSupervisor) {
    const ProcessTest::WordSocket supervisor(Path("supervisor"));
    Boot("  app: {command: probe}\n", {},
         {"NOTIFY_SOCKET=" + Path("supervisor"), "WATCHDOG_USEC=20000"});
    EXPECT_EQ(supervisor.Hear().rfind("READY=1\nSTATUS=", 0), 0U);
    StartAndHear("app");
    const auto await = [&supervisor](const std::string& word) {
        std::string heard = supervisor.Hear();
        while (!heard.empty() && heard != word) {
            heard = supervisor.Hear();
        }
        EXPECT_EQ(heard, word);
    };
    await("STATUS=1 owners, 1 applications up");
    await("WATCHDOG=1");
    manager_->Signal(SIGTERM);
    await("STOPPING=1");
}

TEST_F(DaemonTest, LosesAndDoublesReportsOnDemand) {
    Boot("  app: {command: probe}\n", {"--fault", "drop-report=2", "--fault", "duplicate-report=3",
                                       "--fault", "delay-reports=20"});
    owner->Start({"n1", "n2", "n3", "n4"});
    for (const char* const name : {"n1", "n3", "n3", "n4"}) {
        EXPECT_EQ(owner->Next().name, name);
    }
}

TEST_F(DaemonTest, DiesAndGoesDeafOnDemand) {
    Boot("  app: {command: probe}\n", {"--fault", "die-at-record=2"});
    const pid_t pid = StartAndHear("app");
    owner->Start({"app"});
    owner->AwaitHangUp();
    EXPECT_EQ(manager_->Wait(), 1000 + SIGKILL);
    EXPECT_TRUE(HasEnded(pid));

    Manage({"--fault", "stop-reading=1"});
    Owner unheard(Path("run"));
    unheard.Start({"first"});
    EXPECT_EQ(unheard.Next().name, "first");
    Owner other(Path("run"), "other");
    unheard.Start({"second"});
    other.Start({"third"});
    EXPECT_EQ(other.Next().name, "third");
}

}  // namespace
}  // namespace ProcMgrTest
