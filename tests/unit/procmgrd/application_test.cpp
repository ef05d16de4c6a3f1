// What an application does and what is reported of it, with real processes.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using ApplicationTest = GroupTest;

// An unasked end is told as what it was: status 0 is normal, all else carries its number.
TEST_F(ApplicationTest, TellsHowItEnded) {
    Boot({"zero: {command: [probe, exit, '0']}", "one: {command: [probe, exit, '1']}",
          "three: {command: [probe, exit, '3']}", "killed: {command: [probe, raise, '9']}"});
    const struct {
        const char* name;
        Kind kind;
        uint32_t reason;
    } ends[] = {{"zero", kNormalExit, 0},
                {"one", kAbnormalExit, 256 + 1},
                {"three", kAbnormalExit, 256 + 3},
                {"killed", kAbnormalExit, 512 + SIGKILL}};
    for (const auto& end : ends) {
        owner->Start({end.name});
        const pid_t pid = Expect(end.name, kStarted);
        EXPECT_EQ(Expect(end.name, end.kind, end.reason), pid);
    }
    EXPECT_TRUE(owner->NothingMore());
}

TEST_F(ApplicationTest, TellsWhyItCouldNotStart) {
    Boot({"missing: {command: " + scratch.Path("nothing") + "}",
          "forbidden: {command: " + scratch.Write("text", "no program") + "}",
          "garbage: {command: " + scratch.Write("garbage", "\x01\x02") + "}",
          "folder: {command: " + scratch.Path("") + "}",
          "grouped: {command: [probe, stay], cgroup: no/such/group}"});
    ASSERT_EQ(chmod(scratch.Path("garbage").c_str(), 0755), 0);
    for (const char* const name : {"missing", "forbidden", "garbage", "folder"}) {
        owner->Start({name});
        Expect(name, kAbnormalExit, 1);
    }
    owner->Start({"stranger"});
    Expect("stranger", kAbnormalExit, 1024 + ENOENT);
    if (geteuid() == 0) {
        owner->Start({"grouped"});
        Expect("grouped", kAbnormalExit, 1);
    }
    EXPECT_EQ(owner->Query({"missing"})["missing"], 1U);
}

TEST_F(ApplicationTest, StartedAgainTellsThePidAgain) {
    Boot({"app: {command: [probe, stay]}"});
    const pid_t pid = StartAndHear("app");
    owner->Start({"app"});
    EXPECT_EQ(Expect("app", kStarted), pid);
}

// Asked to end, every end is normal; and what does not run has ended.
TEST_F(ApplicationTest, AnyEndAfterATerminationIsNormal) {
    Boot({"app: {command: [probe, stay, '7']}",
          "forced: {command: [probe, stubborn], stop_signal: SIGKILL}"});
    owner->Terminate("app");
    EXPECT_EQ(Expect("app", kNormalExit), 0);
    for (const char* const name : {"app", "forced"}) {
        const pid_t pid = StartAndHear(name);
        owner->Terminate(name);
        EXPECT_EQ(Expect(name, kNormalExit), pid);
    }
    owner->Terminate("stranger");
    Expect("stranger", kNormalExit);
}

// A waiting owner asks again and again: one clock, one time-out, and the process lives on.
TEST_F(ApplicationTest, OutlivesATermination) {
    Boot({"app: {command: [probe, stubborn], stop_timeout: 200ms}"});
    const pid_t pid = StartAndHear("app");
    for (int i = 0; i < 5; ++i) {
        owner->Terminate("app");
    }
    EXPECT_EQ(owner->Query({"app"})["app"], 2U);
    EXPECT_EQ(Expect("app", kTermTimeOut), pid);
    EXPECT_EQ(owner->Query({"app"})["app"], 0U);
    EXPECT_TRUE(owner->NothingMore());

    owner->Terminate("app");  // asked anew, the clock runs anew
    EXPECT_EQ(Expect("app", kTermTimeOut), pid);
    kill(pid, SIGKILL);
    Expect("app", kNormalExit);  // late, but as asked
}

// Once it is wanted again, its end counts as its own.
TEST_F(ApplicationTest, AStartAfterTheTimeOutForgetsTheTermination) {
    Boot({"app: {command: [probe, stubborn], stop_timeout: 50ms}"});
    const pid_t pid = StartAndHear("app");
    owner->Terminate("app");
    Expect("app", kTermTimeOut);
    owner->Start({"app"});
    EXPECT_EQ(Expect("app", kStarted), pid);
    kill(pid, SIGKILL);
    Expect("app", kAbnormalExit, 512 + SIGKILL);
}

// Exactly one report ends a restart, whether the process went by itself, was killed over its
// time-out, or was not there.
TEST_F(ApplicationTest, RestartIsOneReportWithANewPid) {
    Boot({"app: {command: [probe, stay, '3']}",
          "stubborn: {command: [probe, stubborn], stop_timeout: 50ms}"});
    for (const char* const name : {"app", "stubborn"}) {
        const pid_t pid = StartAndHear(name);
        owner->Restart(name);
        const pid_t next = Expect(name, kRestarted);
        EXPECT_NE(next, pid);
        AwaitEnd(pid);
        EXPECT_TRUE(owner->NothingMore());
        kill(next, SIGKILL);
        Expect(name, kAbnormalExit, 512 + SIGKILL);
        owner->Restart(name);
        EXPECT_GT(Expect(name, kRestarted), 0);
    }
}

TEST_F(ApplicationTest, ARestartThatFailsIsAnAbnormalExit) {
    Boot({"app: {command: [probe, stay]}"});
    const pid_t pid = StartAndHear("app");
    ASSERT_EQ(owner->Load(Configure({"app: {command: /no/such/program}"}), kReload), "0");
    owner->Restart("app");
    Expect("app", kAbnormalExit, 1);
    AwaitEnd(pid);
    EXPECT_EQ(owner->Query({"app"})["app"], 1U);
}

// Commands that cross each other: the last one wins, and each gets its answer.
TEST_F(ApplicationTest, CrossingCommands) {
    Boot({"app: {command: [probe, stubborn], stop_timeout: 60s}"});
    pid_t pid = StartAndHear("app");
    owner->Terminate("app");
    owner->Start({"app"});
    ASSERT_EQ(owner->Query({"app"})["app"], 2U);
    kill(pid, SIGKILL);
    EXPECT_EQ(Expect("app", kNormalExit), pid);
    ear->Await("up app");
    pid = Expect("app", kStarted);

    owner->Restart("app");
    owner->Terminate("app");
    ASSERT_EQ(owner->Query({"app"})["app"], 2U);
    kill(pid, SIGKILL);
    EXPECT_EQ(Expect("app", kNormalExit), pid);
    EXPECT_TRUE(owner->NothingMore());
    EXPECT_EQ(owner->Query({"app"})["app"], 1U);
}

// A termination that overtakes the start's own report: nobody wants to hear of the start any more.
TEST_F(ApplicationTest, StartAndTerminateAtOnce) {
    Boot({"app: {command: [/bin/sleep, '1000']}"});
    for (int i = 0; i < 20; ++i) {
        owner->Start({"app"});
        owner->Terminate("app");
        Told told = owner->Next();
        if (told.kind == kStarted) {  // it was quick
            told = owner->Next();
        }
        EXPECT_EQ(told.kind, kNormalExit);
        EXPECT_TRUE(owner->NothingMore());
    }
}

// A new configuration touches no process. What it no longer names lives on, is known as long as it
// lives, and then no more.
TEST_F(ApplicationTest, AReloadKeepsProcesses) {
    Boot({"kept: {command: [probe, stay]}", "gone: {command: [probe, stay]}"});
    const pid_t kept = StartAndHear("kept");
    const pid_t gone = StartAndHear("gone");
    ASSERT_EQ(owner->Load(Configure({"kept: {command: [probe, exit, '4']}"}), kReload), "0");
    EXPECT_EQ(owner->Query({"kept", "gone"}),
              (std::map<std::string, uint32_t>{{"gone", 0}, {"kept", 0}}));
    owner->Start({"kept"});
    EXPECT_EQ(Expect("kept", kStarted), kept);

    owner->Restart("gone");
    const pid_t again = Expect("gone", kRestarted);
    EXPECT_NE(again, gone);
    owner->Terminate("gone");
    EXPECT_EQ(Expect("gone", kNormalExit), again);
    owner->Start({"gone"});
    Expect("gone", kAbnormalExit, 1024 + ENOENT);

    owner->Restart("kept");  // as the new configuration says
    Expect("kept", kRestarted);
    Expect("kept", kAbnormalExit, 256 + 4);
}

// A bad configuration is refused with a negative number, and the one before stays.
TEST_F(ApplicationTest, ABadConfigurationChangesNothing) {
    Boot({"app: {command: [probe, stay]}"});
    const std::string bad =
        scratch.Write("bad.yaml", "version: 1\napplications: {a: {comand: /x}}\n");
    EXPECT_EQ(owner->Load(bad), std::to_string(-EINVAL));
    EXPECT_EQ(owner->Load(scratch.Path("none.yaml"), kReload), std::to_string(-EINVAL));
    EXPECT_EQ(owner->Call(kLoad, "1#"), std::to_string(-EBADMSG));
    EXPECT_EQ(owner->Call(kStart, Launches({"app"})), std::to_string(-ENOSYS));
    StartAndHear("app");
    manager->Kill(SIGTERM);
    manager->Wait();
    EXPECT_NE(manager->Printed().find("`comand`"), std::string::npos) << manager->Printed();
}

}  // namespace
}  // namespace ProcMgrTest
