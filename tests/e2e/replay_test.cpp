// What the owner records goes the same way again, to the letter, without any process.
#include <csignal>
#include <fstream>
#include <sstream>

#include "tests/e2e/fault.h"

namespace EndToEnd {

namespace {

using ProcessTest::HasInOrder;

std::string ReadAll(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace

class Replay : public Fault {
protected:
    // Boot, crash, change set, a dependency that does not come up, and the end by a signal.
    void Record() {
        Manage();
        const auto owner = Boot(
            "  base: {command: probe}\n"
            "  next: {command: [probe, ready], readiness: notify, depends_on: [base]}\n"
            "  top: {command: probe, autostart: false, depends_on: [next]}\n"
            "  late: {command: [probe, late], autostart: false, readiness: notify}\n",
            {}, {"--record", Path("owner.rec")});
        const std::string base = "base  running   pid ";
        const pid_t first = PidBehind(owner->Output(), base);
        ASSERT_TRUE(manager_->Says("begun base, pid " + std::to_string(first)));
        kill(first, SIGKILL);
        ASSERT_TRUE(owner->Says("   was " + std::to_string(first))) << owner->Output();
        auto client = Connect();
        using GrpOwnerClient::Change;
        const auto change =
            client.ChangeApps({Change{"top", ProcMgr::OptionType::START, {}, {}},
                               Change{"base", ProcMgr::OptionType::RESTART, {}, {}}},
                              kLong);
        EXPECT_TRUE(change && change->isOk);
        const auto late = client.ChangeApps({Change{"late", ProcMgr::OptionType::START, {}, {}}},
                                            std::chrono::milliseconds(1));
        EXPECT_TRUE(late && !late->isOk);
        EXPECT_TRUE(client.Query({"base", "top", "late"}, kLong));
        EXPECT_TRUE(*client.Reload());
        EndAll(*owner);
    }

    void ExpectTheSameOfParts(const std::string& whole) const {
        const size_t begin = whole.find("in enable");
        for (size_t length = begin; length < whole.size(); length += whole.size() / 40) {
            const std::string said = Run({"-q", Write("cut.rec", whole.substr(0, length))}, 0);
            EXPECT_TRUE(HasInOrder(said, {"The recording was cut off", "The same: "})) << length;
        }
        for (const char* none : {"", "grpowner recording 1", "grpowner recording 2\n",
                                 "grpowner recording 1\n5 pm in\n-1 pm log 1 x\n",
                                 "grpowner recording 1\n5 pm sings\n"}) {
            EXPECT_TRUE(
                HasInOrder(Run({Write("none.rec", none)}, 2), {"error: cannot replay", "why"}));
        }
    }

    // Its output.
    std::string Run(std::vector<std::string> arguments, int code) const {
        arguments.insert(arguments.begin(), GRPOWNER_REPLAY);
        Daemon replay(arguments);
        EXPECT_EQ(replay.Wait(), code) << replay.Output();
        return replay.Output();
    }
};

TEST_F(Replay, ARunThroughEverythingSaysTheSameAgain) {
    ASSERT_NO_FATAL_FAILURE(Record());
    const std::string once = Run({Path("owner.rec")}, 0);
    EXPECT_TRUE(
        HasInOrder(once, {"boot warning: ApplicationManager: StartBaseApplication begin.",
                          "pm error: Receive app abnormal exit. (appName=base",
                          "event: ChangeApp begin. (term=0,start=1,restart=1", "timeout=1",
                          "ReloadCfg end.", "StopAllApp callback end. ret=1", "The same: "}))
        << once;
    EXPECT_EQ(Run({Path("owner.rec")}, 0), once);

    ExpectTheSameOfParts(ReadAll(Path("owner.rec")));

    // The library goes its way by what has come in: another report is another way.
    std::string changed = ReadAll(Path("owner.rec"));
    const size_t exit = changed.find("#4#521#0#");  // killed
    ASSERT_NE(exit, changed.npos);
    changed.replace(exit, 3, "#3#");
    const std::string said = Run({"--quiet", Write("changed.rec", changed)}, 1);
    EXPECT_TRUE(HasInOrder(said, {"first at entry ", ", thread pm\n", "TERMINATED_ABNORMAL_EXIT",
                                  "TERMINATED_NORMAL_EXIT"}))
        << said;
    (void)Write("owner.log", once);
    (void)Run({"-q", "--expect", Path("owner.log"), Path("changed.rec")}, 1);
    (void)Run({"-q", "--expect", Path("owner.log"), Path("owner.rec")}, 0);
}

TEST_F(Replay, ADiskThatIsFullEndsTheRecordingAndNothingElse) {
    Manage();
    const std::string group = Configure("  base: {command: probe}\n");
    Daemon owner(Limited("-f 4", {GRPOWNERD, "--run-dir", Path("run"), "--name", "own",
                                  "--progress", "--record", Path("owner.rec"), group}));
    ASSERT_TRUE(owner.Says("Done, ")) << owner.Output();
    ASSERT_TRUE(owner.Says("ends here: File too large")) << owner.Output();
    ExpectThatItLives(owner);
    EndAll(owner);
    EXPECT_EQ(owner.Output().find("ends here"), owner.Output().rfind("ends here"));
    EXPECT_TRUE(HasInOrder(Run({"-q", Path("owner.rec")}, 0), {"was cut off", "The same: "}));
}

}  // namespace EndToEnd
