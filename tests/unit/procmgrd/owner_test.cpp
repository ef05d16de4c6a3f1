// Owners: several of them, slow ones, lost ones, and those that are none.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "tests/unit/procmgrd/group_fixture.h"

namespace ProcMgrTest {
namespace {

using OwnerTest = GroupTest;

// What is ready together travels together. More reports than any socket holds hinder nobody and are
// all there, in order, once the slow owner reads; another name is another group.
TEST_F(OwnerTest, ASlowOwnerLosesNothingAndHindersNobody) {
    Boot("  app: {command: probe}\n");
    const pid_t pid = StartAndHear("app");
    constexpr int kRecords = 150;
    constexpr int kEach = 100;
    const auto startMany = [this](int record) {
        Names names;
        for (int i = 0; i < kEach; ++i) {
            names.push_back("n" + std::to_string(record * kEach + i));
        }
        owner->Start(names);
    };
    startMany(0);
    EXPECT_EQ(owner->Next().name, "n0");
    EXPECT_EQ(owner->LastBatch(), static_cast<size_t>(kEach));
    for (int record = 1; record < kRecords; ++record) {
        startMany(record);
    }
    Owner other(Path("run"), "other");
    EXPECT_EQ(other.StateOf("app"), 1U);
    ASSERT_EQ(other.Load(Path("group.yaml")), "0");
    other.Start({"app"});
    EXPECT_NE(other.Next().pid, static_cast<uint32_t>(pid));
    other.Terminate("app");
    EXPECT_EQ(other.Next().kind, Kind::kNormalExit);
    for (int i = 1; i < kRecords * kEach; ++i) {
        ASSERT_EQ(owner->Next().name, "n" + std::to_string(i));
    }
    EXPECT_TRUE(owner->NothingMore());
    EXPECT_EQ(owner->StateOf("app"), 0U);
}

// The newest connection owns the group. Losing an older one means nothing; losing the newest starts
// the grace, in which a third finds everything as it was, reports included that nobody could take.
TEST_F(OwnerTest, TheNewestConnectionOwnsTheGroup) {
    Boot("  app: {command: probe}\n  short: {command: probe}\n", {"--owner-grace", "600000"});
    const pid_t pid = StartAndHear("app");
    const pid_t shortLived = StartAndHear("short");
    Owner newer(Path("run"));
    ASSERT_EQ(newer.Welcome(), 0);
    owner->Terminate("app");
    EXPECT_EQ(owner->Load(Path("group.yaml")), std::to_string(-ESTALE));
    newer.Start({"app"});
    EXPECT_EQ(newer.Next().pid, static_cast<uint32_t>(pid));
    owner->HangUp();
    EXPECT_EQ(newer.StateOf("app"), 0U);
    newer.HangUp();
    kill(shortLived, SIGKILL);
    EXPECT_TRUE(HasEnded(shortLived));
    Owner third(Path("run"));
    EXPECT_EQ(third.Next().name, "short");
    EXPECT_EQ(third.Processes().at(pid), "app");
    third.Start({"app"});
    EXPECT_EQ(third.Next().pid, static_cast<uint32_t>(pid));
}

// An owner that comes back while its group ends already: what it starts is started once it has
// ended, and an end that it never asked for is not told.
TEST_F(OwnerTest, ALateOwnerStartsAnew) {
    Boot("  app: {command: [probe, stubborn], stop_timeout: 600s}\n", {"--owner-grace", "0"});
    const pid_t pid = StartAndHear("app");
    while (owner->StateOf("app") != 2) {  // until the grace was over before we came
        owner->HangUp();
        owner.emplace(Path("run"));
    }
    owner->Start({"app"});
    EXPECT_EQ(owner->StateOf("app"), 2U);
    kill(pid, SIGKILL);
    const pid_t next = Expect("app", Kind::kStarted);
    EXPECT_EQ(owner->Processes(), (std::map<pid_t, std::string>{{pid, ""}, {next, "app"}}));
    EXPECT_TRUE(owner->NothingMore());
}

// A record that makes no sense is ignored, and a name that would lead elsewhere is none.
TEST_F(OwnerTest, SurvivesNonsense) {
    Boot("  app: {command: probe}\n");
    owner->Send(RecordType::kStart, "9#app#0#0#");
    owner->Send(static_cast<RecordType>(8), "1#app#");
    owner->Send(RecordType::kQuery, "abc");
    owner->Send(RecordType::kBaseState, "1#2#");
    owner->Send(RecordType::kExecution, "1#app#1#2#3#");
    EXPECT_TRUE(owner->NothingMore());
    EXPECT_EQ(owner->StateOf("app"), 1U);

    for (const char* const name : {"", "../rover", ".hidden", "a b"}) {
        EXPECT_EQ(Owner(Path("run"), name).Welcome(), -EINVAL) << name;
    }
    StartAndHear("app");
}

// Whoever is of the group may own.
TEST_F(OwnerTest, TakesOwnersOfTheGroup) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become somebody else";
    }
    Manage({"--group", "daemon"});
    struct stat info {};
    ASSERT_EQ(stat(Path("run/PROCMGR.pipe").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0660U);
    ASSERT_EQ(setegid(info.st_gid) + seteuid(65534), 0);
    EXPECT_NO_THROW(EXPECT_EQ(Owner(Path("run"), "foreign").Welcome(), 0));
    ASSERT_EQ(seteuid(0) + setegid(0), 0);
}

}  // namespace
}  // namespace ProcMgrTest
