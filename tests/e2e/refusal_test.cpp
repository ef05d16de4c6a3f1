// What the owner refuses before it does anything.
#include "platform/linux/host.h"
#include "tests/e2e/group.h"

namespace EndToEnd {

TEST_F(Group, AConfigurationIsRefusedWithTheCheckersText) {
    const std::string path = Write("bad.yaml", R"(version: 1
applications:
  one: {command: relative/path, restart: on-failur}
  two: {command: /bin/true, depends_on: [tree], heart_beat: 3s}
  three: {command: /bin/true, depends_on: [four]}
  four: {command: /bin/true, depends_on: [three], stop_timeout: 3}
)");
    const auto expected = GrpOwnerLinux::LoadConfiguration(path, {});
    ASSERT_GE(expected.diagnostics.size(), 6U);
    Daemon owner({GRPOWNERD, path});
    EXPECT_EQ(owner.Wait(), 1);
    EXPECT_EQ(owner.Output(), GrpOwnerLinux::RenderDiagnostics(expected.diagnostics));
}

TEST_F(Group, WithoutAProcessManagerOrBesideItsLikeAnOwnerSaysWhatToDo) {
    const auto lonely = Own("  only: {command: probe}\n");
    EXPECT_EQ(lonely->Wait(), 1);
    EXPECT_TRUE(lonely->Says("why: no process manager serves " + Path("run/PROCMGR.pipe")))
        << lonely->Output();
    Manage();
    const auto owner = Boot("  only: {command: probe}\n");
    const auto second = Own("  only: {command: probe}\n");
    EXPECT_EQ(second->Wait(), 1);
    EXPECT_TRUE(second->Says("error: a group owner named `own` serves")) << second->Output();
    EndAll(*owner);
}

TEST_F(Group, WrongUsageIsTold) {
    const struct {
        std::vector<std::string> command;
        int status;
        std::string told;
    } cases[] = {
        {{GRPOWNERD}, 2, "CONFIG is required"},
        {{GRPOWNERD, "--nam", "x", "y.yaml"}, 2, "--nam"},
        {{GRPOWNERD, "--name", "../x", "y.yaml"}, 2, "`../x` is no name"},
        {{GRPOWNERD, "--define", "=x", "y.yaml"}, 2, "`=x` is not NAME=VALUE"},
        {{GRPOWNERD, "--define-file", "/nowhere", "y.yaml"}, 2, "cannot read /nowhere"},
        {{PROCMGRD, "--help"}, 0, "Examples:"},
        {{PROCMGRD, "--version"}, 0, "0."},
        {{PROCMGRD, "--nonsense"}, 2, "--nonsense"},
        {{PROCMGRD, "--owner-grace", "soon"}, 2, "--owner-grace"},
        {{PROCMGRD, "--group", "no such group"}, 2, "no such group"},
        {{PROCMGRD, "--fault", "wrong=1"}, 2, "wrong=1"},
        {{PROCMGRD, "--log-dir", "/no/such/place"}, 2, "/no/such/place"},
        {{PROCMGRD, "rover.yaml"}, 2, "rover.yaml"},
    };
    for (const auto& [command, status, told] : cases) {
        Daemon daemon(command);
        EXPECT_EQ(daemon.Wait(), status) << told;
        EXPECT_TRUE(daemon.Says(told)) << daemon.Output();
    }
}

}  // namespace EndToEnd
