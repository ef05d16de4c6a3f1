// Owners: several of them, slow ones, lost ones, and those that are none.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using OwnerTest = GroupTest;

// What is ready together travels together.
TEST_F(OwnerTest, BatchesReportsThatAreReadyTogether) {
    Boot({"app: {command: [probe, stay]}"});
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) {
        names.push_back("n" + std::to_string(i));
    }
    owner->Start(names);
    for (const std::string& name : names) {
        EXPECT_EQ(owner->Next().name, name);
        EXPECT_EQ(owner->LastBatch(), 100U);
    }
}

// More reports than any socket holds: another owner is served meanwhile, and every report is there,
// in order, once the slow one reads.
TEST_F(OwnerTest, ASlowOwnerLosesNothingAndHindersNobody) {
    Boot({"app: {command: [probe, stay]}"});
    constexpr int kRecords = 150;
    constexpr int kEach = 100;
    for (int record = 0; record < kRecords; ++record) {
        std::vector<std::string> names;
        for (int i = 0; i < kEach; ++i) {
            names.push_back("n" + std::to_string(record * kEach + i));
        }
        owner->Start(names);
    }
    Owner other(scratch.Path(), "other");
    ASSERT_EQ(other.Load(scratch.Path("group.yaml")), "0");
    Ear otherEar(scratch.Path(), "other");
    other.Start({"app"});
    EXPECT_EQ(other.Next("app").kind, kStarted);
    for (int i = 0; i < kRecords * kEach; ++i) {
        ASSERT_EQ(owner->Next().name, "n" + std::to_string(i));
    }
    EXPECT_TRUE(owner->NothingMore());
}

TEST_F(OwnerTest, OwnersOfOtherNamesHaveOtherGroups) {
    Boot({"app: {command: [probe, stay]}"});
    Owner other(scratch.Path(), "other");
    Ear otherEar(scratch.Path(), "other");
    const pid_t pid = StartAndHear("app");
    EXPECT_EQ(other.Query({"app"})["app"], 1U);
    ASSERT_EQ(other.Load(scratch.Path("group.yaml")), "0");
    other.Start({"app"});
    EXPECT_NE(other.Next().pid, static_cast<uint32_t>(pid));
    other.Terminate("app");
    EXPECT_EQ(other.Next().kind, kNormalExit);
    EXPECT_TRUE(owner->NothingMore());
    EXPECT_EQ(owner->Query({"app"})["app"], 0U);
}

// The newest connection owns the group. Losing an older one means nothing; losing the newest starts
// the grace, in which a third finds everything as it was, reports included that nobody could take.
TEST_F(OwnerTest, TheNewestConnectionOwnsTheGroup) {
    Boot({"app: {command: [probe, stay]}", "short: {command: [probe, stay]}"},
         {"--owner-grace", "600000"});
    const pid_t pid = StartAndHear("app");
    const pid_t shortLived = StartAndHear("short");
    Owner newer(scratch.Path());
    ASSERT_EQ(newer.Welcome(), 0);
    owner->Terminate("app");
    EXPECT_EQ(owner->Load(scratch.Path("group.yaml")), std::to_string(-ESTALE));
    newer.Start({"app"});
    EXPECT_EQ(newer.Next().pid, static_cast<uint32_t>(pid));
    owner->HangUp();
    EXPECT_EQ(newer.Query({"app"})["app"], 0U);
    newer.HangUp();
    kill(shortLived, SIGKILL);
    AwaitEnd(shortLived);
    Owner third(scratch.Path());
    EXPECT_EQ(third.Next().name, "short");
    third.Start({"app"});
    EXPECT_EQ(third.Next().pid, static_cast<uint32_t>(pid));
}

// Nobody comes back: the group ends, nothing before what needs it, and who does not want to is
// killed.
TEST_F(OwnerTest, ALostGroupEndsInReverseOrder) {
    Boot({"logger: {command: [probe, stay]}",
          "clock: {command: [probe, stay], depends_on: [logger]}",
          "camera: {command: [probe, stubborn], depends_on: [clock], stop_timeout: 50ms}",
          "planner: {command: [probe, stay], depends_on: [camera]}"},
         {"--owner-grace", "0"});
    pid_t stubborn = 0;
    pid_t last = 0;
    for (const char* const name : {"planner", "camera", "clock", "logger"}) {
        const pid_t pid = StartAndHear(name);
        stubborn = name == std::string("camera") ? pid : stubborn;
        last = pid;
    }
    owner->HangUp();
    EXPECT_EQ(ear->Hear(), "down planner");
    EXPECT_EQ(ear->Hear(), "down clock");
    EXPECT_EQ(kill(stubborn, 0), -1);
    EXPECT_EQ(ear->Hear(), "down logger");
    AwaitEnd(last);
}

// An owner that comes back while its group ends already: what it starts is started once it has
// ended, and an end that it never asked for is not told.
TEST_F(OwnerTest, ALateOwnerStartsAnew) {
    Boot({"app: {command: [probe, stubborn], stop_timeout: 600s}"}, {"--owner-grace", "0"});
    const pid_t pid = StartAndHear("app");
    while (owner->Query({"app"})["app"] != 2) {  // until the grace was over before we came
        owner->HangUp();
        owner.emplace(scratch.Path());
    }
    owner->Start({"app"});
    EXPECT_EQ(owner->Query({"app"})["app"], 2U);
    kill(pid, SIGKILL);
    EXPECT_NE(Expect("app", kStarted), pid);
    EXPECT_TRUE(owner->NothingMore());
}

// A record that makes no sense is ignored; a frame that makes none ends the connection, and only
// that.
TEST_F(OwnerTest, SurvivesNonsense) {
    Boot({"app: {command: [probe, stay]}"});
    owner->Send(kStart, "9#app#0#0#");
    owner->Send(8, "1#app#");
    owner->Send(9, "abc");
    owner->Send(kBase, "1#2#");
    owner->Send(kExec, "1#app#1#2#3#");
    EXPECT_TRUE(owner->NothingMore());
    EXPECT_EQ(owner->Query({"app"})["app"], 1U);

    const std::function<void(Owner&)> offences[] = {
        [](Owner& bad) { bad.SendRaw("x"); },
        [](Owner& bad) { bad.SendRaw(std::string(24, '\0')); },
        [](Owner& bad) { bad.SendRaw(std::string(12'000, 'G')); },
        [](Owner& bad) { bad.Send(kStart, Launches({"app"})); },
        [](Owner& bad) { bad.SendFrame(6, 0, ""); },
        [](Owner& bad) { bad.SendFrame(1, 0, std::string(8, '\xff')); },
    };
    for (const auto& offend : offences) {
        Owner bad(scratch.Path(), Owner::Silent{});
        offend(bad);
        bad.AwaitHangUp();
    }
    const std::function<void(Owner&)> lateOffences[] = {
        [](Owner& bad) { bad.SendFrame(3, 0, std::string(3983, '\0')); },
        [](Owner& bad) { bad.SendFrame(3, 0, std::string(3985, '\0')); },
        [](Owner& bad) { bad.SendFrame(4, 0, RecordBytes(kLoad, "")); },
        [](Owner& bad) { bad.SendFrame(5, 1, "0"); },
        [](Owner& bad) { bad.SendFrame(1, 0, ""); },
    };
    for (const auto& offend : lateOffences) {
        Owner bad(scratch.Path(), "bad");
        offend(bad);
        bad.AwaitHangUp();
    }
    for (const char* const name : {"", "../rover", ".hidden", "a b"}) {
        EXPECT_EQ(Owner(scratch.Path(), name).Welcome(), -EINVAL) << name;
    }
    StartAndHear("app");
}

// Others are told that they may not, even where the socket's mode would let them in.
TEST_F(OwnerTest, RefusesOtherUsers) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    const std::string socket = scratch.Path("PROCMGR.pipe");
    const auto welcomeOf = [&](uid_t uid, gid_t gid) {
        const pid_t child = fork();
        if (child == 0) {
            if (setgid(gid) != 0 || setuid(uid) != 0) {
                _exit(255);
            }
            try {
                _exit(-Owner(scratch.Path(), "foreign").Welcome());
            } catch (const std::runtime_error&) {
                _exit(254);
            }
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    };
    manager.emplace(scratch.Path(), std::vector<std::string>{"--group", "daemon"});
    struct stat info {};
    ASSERT_EQ(stat(socket.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0660U);
    EXPECT_EQ(welcomeOf(65534, 65534), 254);
    EXPECT_EQ(welcomeOf(65534, info.st_gid), 0);
    ASSERT_EQ(chmod(socket.c_str(), 0666), 0);
    EXPECT_EQ(welcomeOf(65534, 65534), EACCES);
}

}  // namespace
}  // namespace ProcMgrTest
