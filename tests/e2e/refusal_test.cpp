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
    const auto owner = Own("  only: {command: probe}\n");
    ASSERT_TRUE(owner->Says("Done, 1 of 1")) << owner->Output();
    const auto second = Own("  only: {command: probe}\n");
    EXPECT_EQ(second->Wait(), 1);
    EXPECT_TRUE(second->Says("error: a group owner named `own` serves")) << second->Output();
    EndAll(*owner);
}

TEST_F(Group, WrongUsageIsTold) {
    const struct {
        std::vector<std::string> arguments;
        std::string told;
    } cases[] = {
        {{}, "CONFIG is required"},
        {{"--nam", "x", "y.yaml"}, "--nam"},
        {{"--name", "../x", "y.yaml"}, "`../x` is no name"},
        {{"--define", "=x", "y.yaml"}, "`=x` is not NAME=VALUE"},
        {{"--define-file", "/nowhere", "y.yaml"}, "cannot read /nowhere"},
    };
    for (const auto& [arguments, told] : cases) {
        std::vector<std::string> command{GRPOWNERD};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Daemon owner(command);
        EXPECT_EQ(owner.Wait(), 2) << told;
        EXPECT_TRUE(owner.Says(told)) << owner.Output();
    }
}

}  // namespace EndToEnd
