// The process as a whole: its command line, its end, and the faults that it can be told to have.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using DaemonTest = GroupTest;

TEST(CommandLine, SaysWhatIsWrong) {
    const struct {
        std::vector<std::string> options;
        int status;
        const char* says;
    } lines[] = {{{"--help"}, 0, "Examples:"},
                 {{"--version"}, 0, "0."},
                 {{"--nonsense"}, 2, "--nonsense"},
                 {{"--owner-grace", "soon"}, 2, "--owner-grace"},
                 {{"--group", "no such group"}, 2, "no such group"},
                 {{"--fault", "wrong=1"}, 2, "wrong=1"},
                 {{"--log-dir", "/no/such/place"}, 2, "/no/such/place"},
                 {{"rover.yaml"}, 2, "rover.yaml"}};
    for (const auto& line : lines) {
        std::string printed;
        EXPECT_EQ(RunToEnd(line.options, printed), line.status) << printed;
        EXPECT_NE(printed.find(line.says), std::string::npos) << printed;
    }
}

// An orderly end takes everything down, dependants first, and leaves no file.
TEST_F(DaemonTest, EndsAllGroupsAtSigterm) {
    Boot({"base: {command: [probe, stay]}", "top: {command: [probe, stay], depends_on: [base]}"});
    StartAndHear("base");
    StartAndHear("top");
    manager->Kill(SIGTERM);
    EXPECT_EQ(ear->Hear(), "down top");
    EXPECT_EQ(ear->Hear(), "down base");
    Expect("top", kNormalExit);
    Expect("base", kNormalExit);
    EXPECT_EQ(manager->Wait(), 0) << manager->Printed();
    EXPECT_FALSE(std::filesystem::exists(scratch.Path("PROCMGR.pipe")));
    EXPECT_FALSE(std::filesystem::exists(scratch.Path("PROCMGR.pipe.lock")));
}

TEST_F(DaemonTest, TheSecondSigtermDoesNotWait) {
    Boot({"app: {command: [probe, stubborn], stop_timeout: 600s}"});
    const pid_t pid = StartAndHear("app");
    manager->Kill(SIGTERM);
    manager->Kill(SIGINT);
    EXPECT_EQ(manager->Wait(), 130);
    AwaitEnd(pid);
}

// Killed, it takes its children along, and leaves a socket that does not hinder the next one. Two
// at a time there cannot be.
TEST_F(DaemonTest, KilledItLeavesNothingInTheWay) {
    Boot({"app: {command: [probe, stubborn]}"});
    const pid_t pid = StartAndHear("app");
    std::string printed;
    EXPECT_EQ(RunToEnd({"--run-dir", scratch.Path()}, printed), 1);
    EXPECT_NE(printed.find("another process manager serves"), std::string::npos) << printed;
    manager->Kill(SIGKILL);
    AwaitEnd(pid);
    manager->Wait();
    ASSERT_TRUE(std::filesystem::exists(scratch.Path("PROCMGR.pipe")));
    manager.emplace(scratch.Path());
    EXPECT_EQ(Owner(scratch.Path()).Welcome(), 0);
}

// Its own supervisor hears from it, and no application can speak in its name.
TEST_F(DaemonTest, SpeaksToItsSupervisor) {
    Ear supervisor(scratch.Path(), "supervisor");
    setenv("NOTIFY_SOCKET", scratch.Path("supervisor.notify").c_str(), 1);
    setenv("WATCHDOG_USEC", "20000", 1);
    Boot({"app: {command: [probe, stay]}"});
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(supervisor.Hear().rfind("READY=1\nSTATUS=", 0), 0U);
    StartAndHear("app");
    bool beat = false;
    for (std::string heard; heard != "STATUS=1 owners, 1 applications up";) {
        heard = supervisor.Hear();
        beat = beat || heard == "WATCHDOG=1";
        ASSERT_EQ(heard.find("up app"), std::string::npos);
    }
    while (!beat) {
        beat = supervisor.Hear() == "WATCHDOG=1";
    }
    manager->Kill(SIGTERM);
    supervisor.Await("STOPPING=1");
}

TEST_F(DaemonTest, LosesAndDoublesReportsOnDemand) {
    Boot({"app: {command: [probe, stay]}"}, {"--fault", "drop-report=2", "--fault",
                                             "duplicate-report=3", "--fault", "delay-reports=20"});
    owner->Start({"n1", "n2", "n3", "n4"});
    for (const char* const name : {"n1", "n3", "n3", "n4"}) {
        EXPECT_EQ(owner->Next().name, name);
    }
}

TEST_F(DaemonTest, DiesAndGoesDeafOnDemand) {
    Boot({"app: {command: [probe, stay]}"}, {"--fault", "die-at-record=2"});
    const pid_t pid = StartAndHear("app");
    owner->Start({"app"});
    owner->AwaitHangUp();
    EXPECT_EQ(manager->Wait(), 1000 + SIGKILL);
    AwaitEnd(pid);

    manager.emplace(scratch.Path(), std::vector<std::string>{"--fault", "stop-reading=1"});
    Owner unheard(scratch.Path());
    unheard.Start({"first"});
    EXPECT_EQ(unheard.Next().name, "first");
    Owner other(scratch.Path(), "other");
    unheard.Start({"second"});
    other.Start({"third"});
    EXPECT_EQ(other.Next().name, "third");
}

}  // namespace
}  // namespace ProcMgrTest
