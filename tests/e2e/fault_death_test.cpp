// The process manager or the owner is killed at every stage of a group's life, and comes again.
#include <csignal>
#include <future>
#include <map>
#include <set>

#include "tests/e2e/fault.h"

namespace EndToEnd {

namespace {

// What keeps a group in a phase of its life.
const std::map<std::string, std::string> kPhases{
    {"Boot", "  late: {command: [probe, late], readiness: notify, depends_on: [base]}\n"},
    {"Change", "  late: {command: [probe, late], readiness: notify, autostart: false}\n"},
    {"Idle", ""},
    {"StopAll",
     "  slow: {command: [probe, stubborn], stop_timeout: 60s}\n"
     "  top: {command: probe, depends_on: [slow]}\n"}};

}  // namespace

class Death : public Fault, public testing::WithParamInterface<std::string> {
protected:
    // An owner in the midst of the phase.
    std::unique_ptr<Daemon> Reach() {
        auto owner = Own("  base: {command: probe}\n" + kPhases.at(GetParam()));
        EXPECT_TRUE(GetParam() == "Boot" || owner->Says("Done, ")) << owner->Output();
        if (GetParam() == "Change") {
            answer_ = std::async(std::launch::async, [client = Connect()]() mutable {
                const auto answer =
                    client.ChangeApps({{"late", ProcMgr::OptionType::START, {}, {}}}, kLong);
                return answer ? "an answer" : answer.GetError().message;
            });
        }
        if (GetParam() == "Boot" || GetParam() == "Change") {
            EXPECT_TRUE(manager_->Says("begun late")) << manager_->Output();
        } else if (GetParam() == "StopAll") {
            EXPECT_TRUE(manager_->Says("begun slow"));  // until then a signal is its end
            owner->Signal(SIGTERM);
            EXPECT_TRUE(manager_->Says("own/top: ended")) << manager_->Output();
        }
        return owner;
    }

    // Who asked for a change learns at once that nobody works on it any more.
    void ExpectThatTheAskerIsTold() {
        if (answer_.valid()) {
            EXPECT_EQ(answer_.get(), "the owner has ended the connection");
        }
    }

    std::future<std::string> answer_;
};

INSTANTIATE_TEST_SUITE_P(Fault, Death, testing::Values("Boot", "Change", "Idle", "StopAll"),
                         [](const auto& phase) { return phase.param; });

TEST_P(Death, OfTheProcessManagerEndsTheGroup) {
    Manage();
    const auto owner = Reach();
    const std::vector<pid_t> pids = PidsOf("own");
    manager_->Signal(SIGKILL);
    EXPECT_EQ(owner->Wait(), 1);
    EXPECT_TRUE(
        owner->Says("error: the process manager is gone: the peer has closed the pipe\n "
                    "help: its applications have ended with it; start `procmgrd`"))
        << owner->Output();
    ExpectThatTheAskerIsTold();
    for (const pid_t pid : pids) {
        EXPECT_TRUE(ProcessTest::HasEnded(pid));
    }
    Manage();
    ExpectThatTheNextLives();
}

TEST_P(Death, OfTheOwnerEndsItsGroupAndNoOther) {
    Manage({"--owner-grace", "100"});
    const auto other = Boot("  neighbour: {command: probe}\n", {}, {}, "other");
    const Holding before = HoldingOf(*manager_);
    const auto owner = Reach();
    owner->Signal(SIGKILL);
    EXPECT_EQ(owner->Wait(), 1000 + SIGKILL);
    ExpectThatTheAskerIsTold();
    EXPECT_TRUE(manager_->Says("own: its owner did not come back; its group is ended"))
        << manager_->Output();
    for (const pid_t pid : PidsOf("own")) {
        if (GetParam() == "StopAll") {
            kill(pid, SIGKILL);  // the stubborn one, which would be waited for
        }
        EXPECT_TRUE(ProcessTest::HasEnded(pid));
    }
    ExpectNoMore(*manager_, before);
    ExpectThatItLives(*other, "neighbour");
    other->Signal(SIGTERM);
    EXPECT_EQ(other->Wait(), 0) << other->Output();
    ExpectThatTheNextLives();
}

TEST_F(Fault, BeforeAnOwnerAKilledProcessManagerIsToldAndReplaced) {
    Manage();
    manager_->Signal(SIGKILL);
    EXPECT_EQ(manager_->Wait(), 1000 + SIGKILL);
    const auto owner = Own("  base: {command: probe}\n");
    EXPECT_EQ(owner->Wait(), 1);
    EXPECT_TRUE(owner->Says("PROCMGR.pipe: Connection refused")) << owner->Output();
    Manage();
    ExpectThatTheNextLives();
}

TEST_F(Fault, AnOwnerWithinTheGraceFindsItsGroupAsItWas) {
    Manage({"--owner-grace", "3600000"});
    const auto owner = Boot("  base: {command: probe}\n");
    owner->Signal(SIGKILL);
    EXPECT_EQ(owner->Wait(), 1000 + SIGKILL);
    ExpectThatTheNextLives();
    // One start, and the restart after the crash.
    const std::vector<pid_t> pids = PidsOf("own");
    EXPECT_EQ(std::set<pid_t>(pids.begin(), pids.end()).size(), 2U) << manager_->Output();
}

}  // namespace EndToEnd
