// How a program is executed: as whom, where, with which arguments and variables.
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

class LaunchTest : public GroupTest {
protected:
    std::string Described(const std::string& payload) {
        owner->Send(kStart, payload);
        return "\n" + ear->Hear();
    }

    static bool Says(const std::string& text, const std::string& line) {
        return text.find("\n" + line + "\n") != std::string::npos;
    }
};

TEST_F(LaunchTest, GivesExactlyTheDocumentedSurroundings) {
    setenv("PROCMGRD_TEST_SECRET", "x", 1);
    setenv("PROCMGRD_TEST_PASSED", "passed on", 1);
    setenv("NOTIFY_SOCKET", "/not/for/children", 1);
    Boot({"app: {command: [probe, describe, own, ''], heartbeat: 500ms,"
          " environment: {ADDED: 'a b', LANG: xx}}"},
         {"--pass-env", "PROCMGRD_TEST_PASSED"});
    unsetenv("NOTIFY_SOCKET");
    const std::string text = Described(Launches({"app"}));
    for (const std::string& line :
         {std::string("argument own"), std::string("argument "), std::string("ADDED=a b"),
          std::string("LANG=xx"), std::string("PROCMGRD_TEST_PASSED=passed on"),
          std::string("GRPOWNER_OWNER=rover"), std::string("GRPOWNER_APPLICATION=app"),
          "NOTIFY_SOCKET=" + std::filesystem::canonical(scratch.Path()).string() + "/rover.notify",
          std::string("WATCHDOG_USEC=500000"), std::string("directory /"),
          std::string("leads its group 1"), std::string("SigBlk:\t0000000000000000"),
          std::string("SigIgn:\t0000000000000000"), "scheduler " + std::to_string(SCHED_OTHER)}) {
        EXPECT_TRUE(Says(text, line)) << line << " is not in" << text;
    }
    EXPECT_EQ(text.find("PROCMGRD_TEST_SECRET"), std::string::npos);
    EXPECT_EQ(text.find("GRPOWNER_RUN_DIR"), std::string::npos);
    EXPECT_EQ(text.find("GRPOWNER_PARA"), std::string::npos);
}

// Arguments of a request stand for the manifest's; parameters arrive whatever is in them.
TEST_F(LaunchTest, HandsOverArgumentsAndParameters) {
    Boot({"app: {command: [probe, describe, own], template: true}"});
    const std::string text = Described(
        Fields({"1", "app", "2", "describe", "asked", "2", "0", "2", "a", "b c=d", "2", "0"}));
    EXPECT_TRUE(Says(text, "argument asked"));
    EXPECT_FALSE(Says(text, "argument own"));
    for (const char* const line : {"GRPOWNER_PARA_0_COUNT=2", "GRPOWNER_PARA_0_0=a",
                                   "GRPOWNER_PARA_0_1=b c=d", "GRPOWNER_PARA_2_COUNT=0"}) {
        EXPECT_TRUE(Says(text, line)) << line << " is not in" << text;
    }
    Expect("app", kStarted);
    owner->Terminate("app");
    Expect("app", kNormalExit);
    owner->Send(kStart, Fields({"1", "app", "0", "1", "3", "0"}));
    Expect("app", kAbnormalExit, 1024 + EINVAL);
}

TEST_F(LaunchTest, RunsASharedObjectByItsHost) {
    Boot({"app: {shared_object: {name: part.so, path: /lib/parts, host: /bin/echo}, args: [x]}"},
         {"--log-dir", scratch.Path("logs")});
    owner->Start({"app"});
    Expect("app", kStarted);
    Expect("app", kNormalExit);
    std::string line;
    std::getline(std::ifstream(scratch.Path("logs/app.log")), line);
    EXPECT_EQ(line, "/lib/parts part.so x");
}

// A process that ran well is all that the others see of another user, priority and processor.
TEST_F(LaunchTest, RootPlacesProcesses) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    Boot(
        {"app: {command: [probe, describe], user: 65534, group: 65533, realtime: true,"
         " cpu_affinity: [0]}"});
    owner->Start({"app"});
    const Told told = owner->Next();
    if (told.kind != kStarted) {
        GTEST_SKIP() << "this machine grants no real-time priority or hides the build folder";
    }
    const std::string text = "\n" + ear->Hear();
    for (const std::string& line :
         {std::string("Uid:\t65534\t65534\t65534\t65534"),
          std::string("Gid:\t65533\t65533\t65533\t65533"), std::string("processors 1"),
          "scheduler " + std::to_string(SCHED_FIFO)}) {
        EXPECT_TRUE(Says(text, line)) << line << " is not in" << text;
    }
    EXPECT_EQ(text.find("Groups:\t0 "), std::string::npos) << "root's groups are still there";
}

// The program must never run outside of its control group, not even for a moment.
TEST_F(LaunchTest, EntersItsControlGroupFirst) {
    const std::string name = "/procmgrd_test_" + std::to_string(getpid());
    const std::string roots[] = {"/sys/fs/cgroup/cpu", "/sys/fs/cgroup/memory"};
    std::error_code error;
    for (const std::string& root : roots) {
        if (!std::filesystem::exists(root + "/tasks") ||
            !std::filesystem::create_directory(root + name, error)) {
            GTEST_SKIP() << "no control groups of version 1 to write to";
        }
    }
    Boot({"app: {command: [probe, describe], cgroup: " + name.substr(1) + "}"});
    const std::string text = Described(Launches({"app"}));
    Expect("app", kStarted);
    owner->Terminate("app");
    Expect("app", kNormalExit);
    EXPECT_NE(text.find(":cpu:" + name + "\n"), std::string::npos) << text;
    EXPECT_NE(text.find(":memory:" + name + "\n"), std::string::npos) << text;
    for (const std::string& root : roots) {
        EXPECT_EQ(rmdir((root + name).c_str()), 0);
    }
}

// Without root a foreign user cannot be had and must not be faked; what is only missing comfort is
// no reason not to start.
TEST_F(LaunchTest, WithoutRootOnlyAForeignUserFails) {
    constexpr uid_t kNobody = 65534;
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    const std::string run = scratch.Path("run");
    std::filesystem::create_directory(run);
    ASSERT_EQ(chown(run.c_str(), kNobody, kNobody), 0);
    try {
        manager.emplace(run, std::vector<std::string>{}, kNobody);
    } catch (const std::runtime_error& error) {
        GTEST_SKIP() << "user nobody cannot reach the build folder: " << error.what();
    }
    owner.emplace(run);
    ASSERT_EQ(owner->Welcome(), 0);
    ASSERT_EQ(owner->Load(Configure({"foreign: {command: [probe, exit, '0'], user: 0}",
                                     "plain: {command: [/bin/sleep, '9'], realtime: true,"
                                     " cgroup: no/such/group}"})),
              "0");
    owner->Start({"foreign"});
    Expect("foreign", kAbnormalExit, 1024 + EPERM);
    owner->Start({"plain"});
    Expect("plain", kStarted);
    manager->Kill(SIGTERM);
    EXPECT_EQ(manager->Wait(), 0) << manager->Printed();
    EXPECT_NE(manager->Printed().find("rover/plain: could not set real-time priority"),
              std::string::npos);
    EXPECT_NE(manager->Printed().find("rover/plain: could not enter the control group"),
              std::string::npos);
}

// What it prints is kept over restarts, in the file and, for the log of a crash, in the ring.
TEST_F(LaunchTest, CapturesOutput) {
    Boot({"app: {command: [probe, print, 'last words']}"},
         {"--log-dir", scratch.Path("logs"), "--capture", "16"});
    for (int i = 0; i < 2; ++i) {
        const pid_t pid = StartAndHear("app");
        kill(pid, SIGKILL);
        Expect("app", kAbnormalExit, 512 + SIGKILL);
    }
    std::stringstream written;
    written << std::ifstream(scratch.Path("logs/app.log")).rdbuf();
    EXPECT_EQ(written.str(), "last words\nlast words\n");
    manager->Kill(SIGTERM);
    EXPECT_EQ(manager->Wait(), 0) << manager->Printed();
    EXPECT_NE(manager->Printed().find("\n    ords\n    last words\n"), std::string::npos)
        << manager->Printed();
}

}  // namespace
}  // namespace ProcMgrTest
