// The example applications say what they promise, and the group owner understands it.
#include <unistd.h>

#include <csignal>

#include "tests/e2e/group.h"
#include "tests/support/process/word_socket.h"

namespace EndToEnd {

struct Language {
    const char *name, *program, *needed;
};

class Example : public Group, public testing::WithParamInterface<Language> {
protected:
    static bool IsMissing(const std::string& program) {
        return std::system(("command -v " + program + " >/dev/null").c_str()) != 0;
    }
};

TEST_P(Example, ReportsReadinessBeatsAndItsEnd) {
    if (IsMissing(GetParam().needed)) {
        GTEST_SKIP() << "not installed here: " << GetParam().needed;
    }
    auto supervisor = std::make_unique<ProcessTest::WordSocket>(Path("supervisor"));
    Daemon application({std::string(EXAMPLES) + "/" + GetParam().program},
                       {"NOTIFY_SOCKET=" + Path("supervisor"), "WATCHDOG_USEC=20000"});
    const auto hear = [&supervisor] {
        std::string word = supervisor->Hear();
        return word == "BARRIER=1" ? supervisor->Hear() : word;
    };
    EXPECT_EQ(hear(), "READY=1");
    EXPECT_EQ(hear(), "WATCHDOG=1");
    EXPECT_EQ(hear(), "WATCHDOG=1");
    application.Signal(SIGTERM);
    std::string word = hear();
    while (word == "WATCHDOG=1") {
        word = hear();
    }
    EXPECT_EQ(word, "STOPPING=1");
    supervisor.reset();  // with what may wait in it for us
    EXPECT_EQ(application.Wait(), 0);
}

TEST_P(Example, RunsInAGroupUntilItHangs) {
    if (IsMissing("systemd-notify") || IsMissing("python3")) {
        GTEST_SKIP() << "not installed here: systemd-notify or python3";
    }
    Manage({}, {"DATAMASTER_RUN_MODE=1"});
    Daemon owner({GRPOWNERD, "--run-dir", Path("run"), "--progress", "--define",
                  std::string("BIN=") + EXAMPLES, EXAMPLE_GROUP},
                 {"DATAMASTER_RUN_MODE=1"});
    ASSERT_TRUE(owner.Says("Done, 3 of 3")) << owner.Output();
    std::string name = std::string("in_") + GetParam().name;
    name.resize(sizeof("in_python "), ' ');  // the column's width
    const pid_t pid = PidBehind(owner.Output(), name + "running   pid ");
    kill(pid, SIGSTOP);
    EXPECT_TRUE(owner.Says(name + "heartbeat lost")) << owner.Output();
    kill(pid, SIGCONT);
    EXPECT_TRUE(owner.Says("was " + std::to_string(pid))) << owner.Output();
    EndAll(owner);
}

INSTANTIATE_TEST_SUITE_P(Languages, Example,
                         testing::Values(Language{"c", "in_c", "sh"},
                                         Language{"shell", "in_shell.sh", "systemd-notify"},
                                         Language{"python", "in_python.py", "python3"}),
                         [](const auto& language) { return language.param.name; });

}  // namespace EndToEnd
