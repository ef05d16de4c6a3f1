// The command line against a real owner: what it says, and by which code it ends.
#include <csignal>

#include "tests/e2e/group.h"

namespace EndToEnd {

class CommandLine : public Group {
protected:
    std::unique_ptr<Daemon> Begin(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), GRPCTL);
        return std::make_unique<Daemon>(arguments, std::vector{"GRPOWNER_RUN_DIR=" + Path("run")});
    }

    std::unique_ptr<Daemon> BeginGroup() {
        Manage();
        auto owner = Boot(
            "  base: {command: probe}\n"
            "  mid: {command: probe, autostart: false, depends_on: [base]}\n"
            "  top: {command: [probe, ready], autostart: false, readiness: notify, "
            "depends_on: [mid]}\n"
            "  slow: {command: [probe, late], autostart: false, readiness: notify}\n"
            "  broken: {command: /nowhere/to/be/found, autostart: false}\n"
            "  spare: {command: probe, template: true, restart: 'no'}\n");
        return owner;
    }
};

TEST_F(CommandLine, EachVerbSaysWhatItDidAndEndsWithItsCode) {
    const auto owner = BeginGroup();
    const struct {
        std::vector<std::string> arguments;
        int code;
        std::vector<std::string> told;  // in this order
    } commands[] = {
        {{"list"}, 0, {"NAME", "base", "running", "top", "stopped", "mid", "spare", "template"}},
        {{"list", "-o", "name"}, 0, {"base\nbroken\nmid\nslow\ntop\nspare\n"}},
        {{"status"}, 0, {"own", "running"}},
        {{"status", "nobody"}, 4, {"no application `nobody`"}},
        {{"is-running", "base"}, 0, {}},
        {{"is-running", "base", "top"}, 3, {}},
        {{"start", "top", "--dry-run"},
         0,
         {"Would start 2 applications in 2 waves", "mid", "top", "accepts"}},
        {{"start", "top"}, 0, {"mid", "running", "top", "running", "started 2 of 2"}},
        {{"start", "tpo"}, 4, {"did you mean `top`", "`grpctl list` shows all 6"}},
        {{"start", "broken"}, 1, {"broken"}},
        {{"stop", "mid"}, 2, {"`mid`", "top", "--with-dependents"}},
        {{"stop", "mid", "--with-dependents"}, 0, {"stopped 2 of 2"}},
        {{"start", "spare", "--param", "0=a,b", "--", "stay"}, 0, {"started 1 of 1"}},
        {{"restart", "base"}, 0, {"base", "running", "was"}},
        {{"change", "--stop", "spare", "--start", "mid", "--restart", "base"}, 0, {"3 of 3"}},
        {{"verify", "mid=stop", "spare"}, 0, {}},
        {{"set-state", "working"}, 1, {}},
        {{"reload"}, 0, {"has read"}},
        {{"dump"}, 0, {}},
        {{"graph"}, 0, {"spare", "template", "top", "stopped", "mid", "running", "base"}},
        {{"check", "/nowhere.yaml"}, 1, {"cannot read this file", "1 error, no warnings"}},
        {{"raw", "6", "--record"}, 0, {"code 35, 4000 bytes", "|............1#ba|"}},
        {{"wait", "mid"}, 0, {"running"}},
        {{"wait", "top", "--timeout", "50ms"}, 124, {}},
        {{}, 2, {"grpctl help"}},
        {{"lsit"}, 2, {"did you mean `list`?"}},
        {{"help", "lsit"}, 2, {"did you mean `list`?"}},
        {{"list", "--jsno"}, 2, {"did you mean `--json`?"}},
        {{"list", "-o", "jsn"}, 2, {"did you mean `json`?"}},
        {{"list", "--force"}, 2, {"grpctl help list"}},
        {{"list", "base"}, 2, {"grpctl help list"}},
        {{"list", "--timeout", "0s"}, 2, {"unit"}},
        {{"start"}, 2, {"NAME..."}},
        {{"start", "spare", "--param", "3=x"}, 2, {"0 to 2"}},
        {{"set-state", "a", "b"}, 2, {"grpctl set-state STATE"}},
        {{"--socket", "/nowhere.vfs", "list"}, 7, {"cannot reach the group owner", "/nowhere.vfs"}},
        {{"--json", "status"}, 0, {"\"schema\": 1"}},
        {{"stop-all"}, 0, {"stopped 2 of 2"}},
        {{"is-running", "base"}, 3, {}},
    };
    for (const auto& [arguments, code, told] : commands) {
        std::string line;
        for (const std::string& argument : arguments) {
            line += " " + argument;
        }
        const auto run = Begin(arguments);
        EXPECT_EQ(run->Wait(), code) << line << "\n" << run->Output();
        EXPECT_TRUE(ProcessTest::HasInOrder(run->Output(), told)) << line << "\n" << run->Output();
    }
    EndAll(*owner);
}

// A second change is refused while the first one waits, questions are answered meanwhile, and who
// gives up waiting leaves the change to the owner.
TEST_F(CommandLine, WhileAChangeWaits) {
    const auto owner = BeginGroup();
    const auto first = Begin({"start", "slow", "--timeout", "60s"});
    ASSERT_TRUE(manager_->Says("begun slow"));
    EXPECT_EQ(Begin({"start", "mid"})->Wait(), 5);
    EXPECT_EQ(Begin({"reload"})->Wait(), 5);
    EXPECT_EQ(Begin({"is-running", "base"})->Wait(), 0);
    first->Signal(SIGINT);
    EXPECT_EQ(first->Wait(), 130);
    EXPECT_TRUE(first->Says("goes on")) << first->Output();
    kill(PidBehind(manager_->Output(), "own/slow: runs, pid "), SIGUSR2);
    EXPECT_TRUE(manager_->Says("heard slow"));
    EXPECT_EQ(Begin({"wait", "slow"})->Wait(), 0);
    EndAll(*owner);
}

// What applications print is shown, through a crash too and fit for a terminal; what did not start
// has its last words.
TEST_F(CommandLine, ShowsWhatApplicationsPrint) {
    Manage({"--capture", "65536"});
    const auto owner = Boot(
        "  base: {command: [/bin/sh, -c, 'printf \"\\033[2Jbegun\\n\"; exec sleep 1000']}\n"
        "  bad: {command: [/bin/sh, -c, 'for i in 1 2 3 4 5 6; do echo line $$i; done; exit 3'],"
        " autostart: false, readiness: notify, restart: 'no'}\n");
    const auto log = Begin({"log", "-f", "-n", "5", "base"});
    EXPECT_TRUE(log->Says("  \\x1b[2Jbegun\n")) << log->Output();
    kill(PidBehind(manager_->Output(), "own/base: runs, pid "), SIGSEGV);
    EXPECT_TRUE(log->Says("  -- killed by SIGSEGV")) << log->Output();
    EXPECT_TRUE(log->Says("  -- started, pid " +
                          std::to_string(PidBehind(manager_->Output(), "own/base: runs, pid "))))
        << log->Output();
    log->Signal(SIGINT);
    EXPECT_EQ(log->Wait(), 130);
    EXPECT_EQ(log->Output().find("error"), std::string::npos) << log->Output();

    const auto start = Begin({"start", "bad"});
    EXPECT_EQ(start->Wait(), 1);
    EXPECT_TRUE(start->Says("\nbad: exit status 3, its last words:\n  line 2\n  line 3\n"))
        << start->Output();
    const auto json = Begin({"start", "bad", "--json"});
    EXPECT_EQ(json->Wait(), 1);
    EXPECT_TRUE(json->Says("\"output\": [\n        \"line 2\",")) << json->Output();
    EndAll(*owner);
}

}  // namespace EndToEnd
