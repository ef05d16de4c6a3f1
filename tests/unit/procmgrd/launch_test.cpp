// How a program is executed: as whom, where, with which arguments and variables.
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

std::string ReadAll(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class LaunchTest : public GroupTest {
protected:
    static std::string Shown(pid_t pid, const std::string& file) {
        const std::string folder = "/proc/" + std::to_string(pid) + "/";
        // Exec was sure when the start was told; the kernel shows its parent until it is over.
        std::string command;
        while ((command.empty() || command.rfind(PROCMGRD, 0) == 0) && kill(pid, 0) == 0) {
            command = ReadAll(folder + "cmdline");
        }
        std::string text = ReadAll(folder + file);
        std::replace(text.begin(), text.end(), '\0', '\n');
        return "\n" + text;
    }

    static void ExpectLines(const std::string& text, const Names& lines) {
        for (const std::string& line : lines) {
            EXPECT_NE(text.find("\n" + line + "\n"), std::string::npos)
                << line << " not in" << text;
        }
    }
};

TEST_F(LaunchTest, GivesExactlyTheDocumentedSurroundings) {
    Boot(R"(
  app:
    command: [/bin/sh, -c, 'kill -STOP $$$$', own, '']
    heartbeat: 500ms
    environment: {ADDED: 'a b', LANG: xx}
)",
         {"--pass-env", "PROCMGRD_TEST_PASSED"},
         {"PROCMGRD_TEST_SECRET=x", "PROCMGRD_TEST_PASSED=passed on",
          "NOTIFY_SOCKET=" + Path("not-for-children")});
    owner->Start({"app"});
    const pid_t pid = Expect("app", Kind::kStarted);
    EXPECT_EQ(Shown(pid, "cmdline"), "\n/bin/sh\n-c\nkill -STOP $$\nown\n\n");
    const std::string variables = Shown(pid, "environ");
    const std::string run = std::filesystem::canonical(Path("run"));
    ExpectLines(variables, {"ADDED=a b", "LANG=xx", "PROCMGRD_TEST_PASSED=passed on",
                            "GRPOWNER_OWNER=rover", "GRPOWNER_APPLICATION=app",
                            "NOTIFY_SOCKET=" + run + "/rover.notify", "WATCHDOG_USEC=500000"});
    for (const char* const name : {"PROCMGRD_TEST_SECRET", "GRPOWNER_RUN_DIR", "GRPOWNER_PARA"}) {
        EXPECT_EQ(variables.find(name), std::string::npos) << variables;
    }
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/cwd"), "/");
    EXPECT_EQ(getpgid(pid), pid);
    EXPECT_EQ(sched_getscheduler(pid), SCHED_OTHER);
}

// Arguments of a request stand for the manifest's; parameters arrive whatever is in them. No signal
// is blocked or ignored.
TEST_F(LaunchTest, HandsOverArgumentsAndParameters) {
    Boot("  app: {command: [/bin/sleep, '1'], template: true}\n");
    owner->Send(RecordType::kStart, "1#app#1#1000#2#0#2#a#b c=d#2#0#");
    const pid_t pid = Expect("app", Kind::kStarted);
    EXPECT_EQ(Shown(pid, "cmdline"), "\n/bin/sleep\n1000\n");
    ExpectLines(Shown(pid, "environ"), {"GRPOWNER_PARA_0_COUNT=2", "GRPOWNER_PARA_0_0=a",
                                        "GRPOWNER_PARA_0_1=b c=d", "GRPOWNER_PARA_2_COUNT=0"});
    const std::string status = Shown(pid, "status");
    for (const std::string line : {"\nSigBlk:\t", "\nSigIgn:\t"}) {
        const size_t place = status.find(line) + line.size();
        // 32 and 33 are the C library's own.
        EXPECT_EQ(std::stoull(status.substr(place), nullptr, 16) & 0x7fffffff, 0U) << line;
    }
    owner->Terminate("app");
    Expect("app", Kind::kNormalExit);
    owner->Send(RecordType::kStart, "1#app#0#1#3#0#");
    Expect("app", Kind::kAbnormalExit, 1024 + EINVAL);
}

// A shared object runs by its host. What is printed is kept over restarts, in the file and, for the
// log of a crash, in the ring.
TEST_F(LaunchTest, RunsSharedObjectsAndCapturesOutput) {
    Boot(R"(
  part: {shared_object: {name: part.so, path: /lib/part, host: /bin/echo}, args: [x]}
  app: {command: [/bin/sh, -c, 'echo last words; exit 3']}
)",
         {"--log-dir", Path("logs"), "--capture", "8192"});
    owner->Start({"part"});
    Expect("part", Kind::kStarted);
    Expect("part", Kind::kNormalExit);
    EXPECT_EQ(ReadAll(Path("logs/part.log")), "/lib/part part.so x\n");
    for (int i = 0; i < 2; ++i) {
        owner->Start({"app"});
        Expect("app", Kind::kStarted);
        Expect("app", Kind::kAbnormalExit, 256 + 3);
    }
    EXPECT_EQ(ReadAll(Path("logs/app.log")), "last words\nlast words\n");
    EXPECT_TRUE(manager_->Says("\n    last words\n    last words\n")) << manager_->Output();
}

TEST_F(LaunchTest, RootPlacesProcesses) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    Boot(R"(
  app:
    command: [/bin/sleep, '1000']
    user: 65534
    group: 65533
    realtime: true
    cpu_affinity: [0]
)");
    owner->Start({"app"});
    const Report told = owner->Next();
    if (told.kind != Kind::kStarted) {
        GTEST_SKIP() << "this machine grants no real-time priority";
    }
    const std::string text = Shown(static_cast<pid_t>(told.pid), "status");
    ExpectLines(text, {"Uid:\t65534\t65534\t65534\t65534", "Gid:\t65533\t65533\t65533\t65533",
                       "Groups:\t65533 ", "Cpus_allowed_list:\t0"});
    EXPECT_EQ(sched_getscheduler(static_cast<pid_t>(told.pid)), SCHED_FIFO);
}

// The program must never run outside of its control group, not even for a moment; without the group
// it does not run at all.
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
    Boot("  app: {command: [/bin/sh, -c, 'cat /proc/self/cgroup'], cgroup: " + name.substr(1) +
         "}\n  lost: {command: probe, cgroup: no/such/group}\n");
    owner->Start({"app"});
    Expect("app", Kind::kStarted);
    Expect("app", Kind::kNormalExit);
    EXPECT_TRUE(manager_->Says(":cpu:" + name + "\n")) << manager_->Output();
    EXPECT_TRUE(manager_->Says(":memory:" + name + "\n")) << manager_->Output();
    owner->Start({"lost"});
    Expect("lost", Kind::kAbnormalExit, 1);
    for (const std::string& root : roots) {
        EXPECT_EQ(rmdir((root + name).c_str()), 0);
    }
}

// Without root a foreign user cannot be had and must not be faked; what is only missing comfort is
// no reason not to start.
TEST_F(LaunchTest, WithoutRootOnlyAForeignUserFails) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    ASSERT_EQ(chown(Path("run").c_str(), 65534, 65534), 0);
    manager_ =
        std::make_unique<Daemon>(Names{"/usr/bin/setpriv", "--reuid", "65534", "--regid", "65534",
                                       "--clear-groups", PROCMGRD, "--run-dir", Path("run")});
    if (!manager_->Says("procmgrd: ready on ")) {
        GTEST_SKIP() << "user nobody cannot reach the build folder: " << manager_->Output();
    }
    owner.emplace(Path("run"));
    ASSERT_EQ(owner->Load(Configure(R"(
  foreign: {command: /bin/true, user: 0}
  plain: {command: [/bin/sleep, '9'], realtime: true, cgroup: no/such/group}
)")),
              "0");
    owner->Start({"foreign"});
    Expect("foreign", Kind::kAbnormalExit, 1024 + EPERM);
    owner->Start({"plain"});
    Expect("plain", Kind::kStarted);
    EXPECT_TRUE(manager_->Says("rover/plain: could not set real-time priority"));
    EXPECT_TRUE(manager_->Says("rover/plain: could not enter the control group"));
}

}  // namespace
}  // namespace ProcMgrTest
