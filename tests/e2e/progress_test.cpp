// The live progress of a change: in a terminal's window, by lines, as JSON, and without a trace.
#include <csignal>

#include "tests/e2e/group.h"

namespace EndToEnd {

class Progress : public Group {
protected:
    std::unique_ptr<Daemon> Begin(const std::string& shellCommand) const {
        return std::make_unique<Daemon>(
            std::vector<std::string>{"/bin/sh", "-c", shellCommand},
            std::vector{"GRPOWNER_RUN_DIR=" + Path("run"), std::string("LC_ALL=C"),
                        std::string("TERM=xterm"), std::string("NO_COLOR=1")});
    }

    /// In a terminal with a window of that size.
    std::unique_ptr<Daemon> BeginInWindow(int columns, int rows, const std::string& arguments) {
        return Begin("exec script -qec 'stty cols " + std::to_string(columns) + " rows " +
                     std::to_string(rows) + "; exec " + GRPCTL + " " + arguments +
                     "' /dev/null </dev/null");
    }

    // A pair for each start, so that what the manager says belongs to one start only.
    std::unique_ptr<Daemon> BootGroup(const std::vector<std::string>& options = {}) {
        std::string applications = "  base: {command: probe}\n";
        for (const char number : {'0', '1', '2'}) {
            applications +=
                std::string("  late") + number +
                ": {command: [probe, late], autostart: false, readiness: notify}\n  top" + number +
                ": {command: probe, autostart: false, depends_on: [late" + number + "]}\n";
        }
        return Boot(applications, {}, options);
    }

    void LetBeReady(const std::string& name) const {
        EXPECT_TRUE(manager_->Says("begun " + name));
        EXPECT_TRUE(manager_->Says("own/" + name + ": runs, pid "));
        kill(PidBehind(manager_->Output(), "own/" + name + ": runs, pid "), SIGUSR2);
    }
};

TEST_F(Progress, PaintsInPlaceInAnyWindow) {
    Manage();
    const auto owner = BootGroup();
    const struct {
        int columns, rows;
        std::vector<std::string> before, after;  // the late one is ready; each in this order
    } windows[] = {
        {80,
         24,
         {"Starting 0/2", "late0   starting", "waiting for READY=1", "top0    waiting",
          "for late0"},
         {"Started 2/2", "late0   running", "top0    running"}},
        {40,
         8,
         {"Starting 0/2", "late1 starting", "for READY=1", "top1  waiting  for late1"},
         {"Started 2/2"}},
        {40, 3, {"Starting 0/2", "2 more: 1 on the way, 1 waiting"}, {"Started 2/2"}},
    };
    char number = '0';
    for (const auto& [columns, rows, before, after] : windows) {
        const auto run =
            BeginInWindow(columns, rows, std::string("start top") + number + " --timeout 60s");
        ASSERT_TRUE(run->Says(before.back())) << run->Output();
        EXPECT_TRUE(ProcessTest::HasInOrder(run->Output(), before)) << run->Output();
        LetBeReady(std::string("late") + number++);
        EXPECT_EQ(run->Wait(), 0) << run->Output();
        const std::string output = run->Output();
        EXPECT_TRUE(ProcessTest::HasInOrder(output, after)) << output;
        EXPECT_GT(output.rfind("\033[?25h"), output.rfind("\033[?25l")) << "the cursor is gone";
    }
    EndAll(*owner);
}

TEST_F(Progress, TellsALineForEachApplicationWhereNoTerminalIs) {
    Manage();
    const auto owner = BootGroup();
    const auto plain = Begin(GRPCTL " start top0 --timeout 60s");
    LetBeReady("late0");
    EXPECT_EQ(plain->Wait(), 0);
    const std::string output = plain->Output();
    EXPECT_TRUE(
        ProcessTest::HasInOrder(output, {"late0   running", "top0    running", "started 2 of 2"}));
    EXPECT_EQ(output.find("running"), output.rfind("late0   running") + 8) << "told twice:\n"
                                                                           << output;
    const auto json = Begin(GRPCTL " stop top0 --progress=json");
    EXPECT_EQ(json->Wait(), 0);
    EXPECT_TRUE(ProcessTest::HasInOrder(
        json->Output(), {R"("kind":"begin")", R"("stage":"going")", R"("stage":"done")",
                         R"("result":"SUCCESS")", R"("kind":"end")", R"("done":1,"failed":0)"}))
        << json->Output();
    EndAll(*owner);
}

TEST_F(Progress, IsMissedByNobodyWhereNoTraceIs) {
    Manage();
    const auto owner = BootGroup({"--trace", "0"});
    const auto run = BeginInWindow(80, 24, "stop-all");
    EXPECT_EQ(run->Wait(), 0);
    EXPECT_EQ(run->Output().substr(0, run->Output().find("  ")),
              "[+] Stopped 1/1, driving applications first");
    EndAll(*owner);
}

}  // namespace EndToEnd
