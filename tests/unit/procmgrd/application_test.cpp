// What an application does and what is reported of it, with real processes.
#include <sys/stat.h>

#include <cerrno>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using ApplicationTest = GroupTest;

// An unasked end is told as what it was: status 0 is normal, all else carries its number. 1 is for
// a program that could not be executed, and never for one that ran.
TEST_F(ApplicationTest, TellsHowItEndedOrWhyItCouldNotStart) {
    ASSERT_EQ(chmod(Write("garbage", "\x01\x02").c_str(), 0755), 0);
    Boot(R"(
  zero: {command: [/bin/sh, -c, 'exit 0']}
  one: {command: [/bin/sh, -c, 'exit 1']}
  killed: {command: [/bin/sh, -c, 'kill -9 $$$$']}
  missing: {command: /no/such/program}
  forbidden: {command: /etc/passwd}
  folder: {command: /etc}
  garbage: {command: )" +
         Path("garbage}\n"));
    const struct {
        const char* name;
        Kind kind;
        uint32_t reason;
    } ends[] = {{"zero", Kind::kNormalExit, 0},
                {"one", Kind::kAbnormalExit, 256 + 1},
                {"killed", Kind::kAbnormalExit, 512 + SIGKILL},
                {"missing", Kind::kAbnormalExit, 1},
                {"forbidden", Kind::kAbnormalExit, 1},
                {"folder", Kind::kAbnormalExit, 1},
                {"garbage", Kind::kAbnormalExit, 1},
                {"stranger", Kind::kAbnormalExit, 1024 + ENOENT}};
    for (const auto& end : ends) {
        owner->Start({end.name});
        const bool hasRun = end.reason != 1 && end.reason < 1024;
        const pid_t pid = hasRun ? Expect(end.name, Kind::kStarted) : 0;
        const pid_t ended = Expect(end.name, end.kind, end.reason);
        EXPECT_TRUE(ended == pid || !hasRun) << end.name;
        EXPECT_EQ(owner->StateOf(end.name), 1U);
    }
    EXPECT_TRUE(owner->NothingMore());
}

// Asked to end, every end is normal; and what does not run has ended.
TEST_F(ApplicationTest, AnyEndAfterATerminationIsNormal) {
    Boot(R"(
  app: {command: [probe, stay, '7']}
  forced: {command: [probe, stubborn], stop_signal: SIGKILL}
)");
    owner->Terminate("app");
    EXPECT_EQ(Expect("app", Kind::kNormalExit), 0);
    for (const char* const name : {"app", "forced"}) {
        const pid_t pid = StartAndHear(name);
        owner->Terminate(name);
        EXPECT_EQ(Expect(name, Kind::kNormalExit), pid);
        owner->Terminate(name);  // had crossed the report; nothing more to tell
    }
    owner->Terminate("stranger");
    Expect("stranger", Kind::kNormalExit);
}

// A waiting owner asks again and again: one clock, one time-out, and the process lives on. Its late
// end is still as asked, unless it was wanted again before.
TEST_F(ApplicationTest, OutlivesATermination) {
    Boot("  app: {command: [probe, stubborn], stop_timeout: 200ms}\n");
    for (const bool isWantedAgain : {false, true}) {
        const pid_t pid = StartAndHear("app");
        for (int i = 0; i < 5; ++i) {
            owner->Terminate("app");
        }
        EXPECT_EQ(owner->StateOf("app"), 2U);
        EXPECT_EQ(Expect("app", Kind::kTermTimeOut), pid);
        EXPECT_EQ(owner->StateOf("app"), 0U);
        EXPECT_TRUE(owner->NothingMore());
        owner->Terminate("app");  // asked anew, the clock runs anew
        EXPECT_EQ(Expect("app", Kind::kTermTimeOut), pid);
        if (isWantedAgain) {
            owner->Start({"app"});
            EXPECT_EQ(Expect("app", Kind::kStarted), pid);
        }
        kill(pid, SIGKILL);
        Expect("app", isWantedAgain ? Kind::kAbnormalExit : Kind::kNormalExit,
               isWantedAgain ? 512 + SIGKILL : 0);
    }
}

// Exactly one report ends a restart, whether the process went by itself, was killed over its
// time-out, or was not there.
TEST_F(ApplicationTest, RestartIsOneReportWithANewPid) {
    Boot(R"(
  app: {command: [probe, stay, '3']}
  stubborn: {command: [probe, stubborn], stop_timeout: 50ms}
)");
    for (const char* const name : {"app", "stubborn"}) {
        const pid_t pid = StartAndHear(name);
        owner->Restart(name);
        const pid_t next = Expect(name, Kind::kRestarted);
        EXPECT_NE(next, pid);
        EXPECT_TRUE(HasEnded(pid));
        EXPECT_TRUE(owner->NothingMore());
        kill(next, SIGKILL);
        Expect(name, Kind::kAbnormalExit, 512 + SIGKILL);
        owner->Restart(name);
        EXPECT_GT(Expect(name, Kind::kRestarted), 0);
    }
}

// Commands that cross each other: the last one wins, and each gets its answer.
TEST_F(ApplicationTest, CrossingCommands) {
    Boot("  app: {command: [probe, stubborn], stop_timeout: 60s}\n");
    pid_t pid = StartAndHear("app");
    owner->Terminate("app");
    owner->Start({"app"});
    ASSERT_EQ(owner->StateOf("app"), 2U);
    kill(pid, SIGKILL);
    EXPECT_EQ(Expect("app", Kind::kNormalExit), pid);
    pid = Expect("app", Kind::kStarted);

    ASSERT_TRUE(manager_->Says("begun app, pid " + std::to_string(pid) + "\n"));
    owner->Restart("app");
    owner->Terminate("app");
    ASSERT_EQ(owner->StateOf("app"), 2U);
    kill(pid, SIGKILL);
    EXPECT_EQ(Expect("app", Kind::kNormalExit), pid);
    EXPECT_TRUE(owner->NothingMore());
    EXPECT_EQ(owner->StateOf("app"), 1U);
}

// A termination that overtakes the start's own report: nobody wants to hear of the start any more.
TEST_F(ApplicationTest, StartAndTerminateAtOnce) {
    Boot("  app: {command: [/bin/sleep, '1000']}\n");
    for (int i = 0; i < 20; ++i) {
        owner->Start({"app"});
        owner->Terminate("app");
        Report told = owner->Next();
        if (told.kind == Kind::kStarted) {  // it was quick
            told = owner->Next();
        }
        EXPECT_EQ(told.kind, Kind::kNormalExit);
        EXPECT_TRUE(owner->NothingMore());
    }
}

// A new configuration touches no process and counts from the next start. What it no longer names
// lives on, is known as long as it lives, and then no more.
TEST_F(ApplicationTest, AReloadKeepsProcesses) {
    Boot("  kept: {command: probe}\n  gone: {command: probe}\n");
    const pid_t kept = StartAndHear("kept");
    const pid_t gone = StartAndHear("gone");
    const std::string path = Configure("  kept: {command: /no/such/program}\n");
    ASSERT_EQ(owner->Load(path, RecordType::kReload), "0");
    EXPECT_EQ(owner->StateOf("gone"), 0U);
    owner->Start({"kept"});
    EXPECT_EQ(Expect("kept", Kind::kStarted), kept);

    owner->Restart("gone");
    const pid_t again = Expect("gone", Kind::kRestarted);
    EXPECT_NE(again, gone);
    owner->Terminate("gone");
    EXPECT_EQ(Expect("gone", Kind::kNormalExit), again);
    owner->Start({"gone"});
    Expect("gone", Kind::kAbnormalExit, 1024 + ENOENT);

    owner->Restart("kept");  // a restart that fails is an abnormal end
    Expect("kept", Kind::kAbnormalExit, 1);
    EXPECT_TRUE(HasEnded(kept));
    EXPECT_EQ(owner->StateOf("kept"), 1U);
}

// A bad configuration is refused with a negative number, and the one before stays.
TEST_F(ApplicationTest, ABadConfigurationChangesNothing) {
    Boot("  app: {command: probe}\n");
    EXPECT_EQ(owner->Load(Write("bad.yaml", "version: 1\napplications: {a: {comand: /x}}\n")),
              std::to_string(-EINVAL));
    EXPECT_EQ(owner->Load(Path("none.yaml"), RecordType::kReload), std::to_string(-EINVAL));
    EXPECT_EQ(owner->Call(RecordType::kLoad, "1#"), std::to_string(-EBADMSG));
    EXPECT_EQ(owner->Call(RecordType::kStart, Launches({"app"})), std::to_string(-ENOSYS));
    StartAndHear("app");
    EXPECT_TRUE(manager_->Says("`comand`")) << manager_->Output();
}

}  // namespace
}  // namespace ProcMgrTest
