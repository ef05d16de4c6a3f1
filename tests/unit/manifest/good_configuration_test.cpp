#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/portable/manifest_fields.h"
#include "tests/unit/manifest/configuration_file.h"

namespace GrpOwnerTest {
namespace {

using MatchData = ParseAndDepend::MatchData;
using Texts = std::vector<std::string>;

// Loads the keys of one application "a" below `head`; the test fails when there is any finding.
ManifestFields Load(const std::string& keys, const std::string& head = "",
                    const MatchData& matchData = {}) {
    const ConfigurationFile file("version: 1\n" + head + "\napplications: {a: {" + keys + "}}\n");
    const auto configuration = file.Load(matchData);
    EXPECT_EQ(Brief(configuration), "") << keys;
    return configuration.manifests.size() == 1 ? configuration.manifests[0].Fields()
                                               : ManifestFields();
}

TEST(GoodConfiguration, WhatIsNotSaidIsTheDefault) {
    const ManifestFields fields = Load("command: /bin/a");
    EXPECT_TRUE(fields.appName == "a" && fields.binPath == "/bin/a" && fields.restart == "no");
    EXPECT_TRUE(fields.arguments.empty() && fields.depends.empty() && fields.envArgv->empty());
    EXPECT_TRUE(fields.uid == kInheritedId && fields.gid == kInheritedId);
    EXPECT_TRUE(fields.termTimeOut == 3000 && fields.isAutoBoot);
    EXPECT_FALSE(fields.isSo || fields.isForceTerm || fields.isRosNode || fields.isReporting ||
                 fields.heartBeatSwitch || fields.isSetRtPrio || fields.isDynamicPara);
}

TEST(GoodConfiguration, EveryKeyReachesItsAccessor) {
    const ManifestFields fields = Load(
        "command: /bin/a, args: [--fps, 30, \"\"], environment: {A: b, C: \"\"}, user: root, "
        "group: 0, restart: on-forever, stop_timeout: 1.5s, stop_signal: SIGTERM, "
        "readiness: ros-node, heartbeat: 500ms, cpu_affinity: \"5, 0-2,1\", cgroup: x/y, "
        "realtime: true, autostart: false, node_type: -7, x-note: [what, ever]");
    EXPECT_EQ(fields.arguments, (Texts{"--fps", "30", ""}));
    EXPECT_EQ(*fields.envArgv, (std::map<std::string, std::string>{{"A", "b"}, {"C", ""}}));
    EXPECT_TRUE(fields.uid == 0 && fields.gid == 0);
    EXPECT_TRUE(fields.restart == "on-forever" && fields.termTimeOut == 1500);
    EXPECT_TRUE(fields.isRosNode && !fields.isReporting);
    EXPECT_TRUE(fields.heartBeatSwitch && fields.heartBeatPeriodMs == 500);
    EXPECT_EQ(*fields.coreAffinity, (std::vector<uint32_t>{0, 1, 2, 5}));
    EXPECT_TRUE(fields.isSetRtPrio && !fields.isAutoBoot);
    EXPECT_TRUE(*fields.resGroupName == "x/y" && fields.nodeType == -7);
}

TEST(GoodConfiguration, OtherFormsOfTheSameKeys) {
    EXPECT_EQ(Load("command: [/bin/a, b, c d]").arguments, (Texts{"b", "c d"}));
    EXPECT_EQ(*Load("command: /a, cpu_affinity: [3, 1-2]").coreAffinity,
              (std::vector<uint32_t>{1, 2, 3}));
    const ManifestFields killed = Load("command: /a, stop_signal: SIGKILL, heartbeat: false");
    EXPECT_TRUE(killed.isForceTerm && !killed.heartBeatSwitch);
    EXPECT_TRUE(Load("command: /a, readiness: notify").isReporting);
    const ManifestFields object = Load("shared_object: {name: n, path: /p.so, host: /h}");
    EXPECT_TRUE(object.isSo && *object.soName == "n" && *object.soPath == "/p.so" &&
                *object.processBindPath == "/h");
    for (const auto& [text, milliseconds] : std::map<std::string, uint32_t>{
             {"1ms", 1}, {"7s", 7000}, {"0.5s", 500}, {"2m", 120000}, {"1h", 3600000}}) {
        EXPECT_EQ(Load("command: /a, stop_timeout: " + text).termTimeOut, milliseconds);
    }
}

TEST(GoodConfiguration, DefaultsStandBehindWhatAnApplicationSays) {
    const std::string defaults =
        "defaults: {restart: on-failure, stop_timeout: 9s, autostart: true, environment: {A: 1, "
        "B: 2}, cpu_affinity: [1]}";
    const ManifestFields plain = Load("command: /a", defaults);
    EXPECT_TRUE(plain.restart == "on-failure" && plain.termTimeOut == 9000);
    const ManifestFields own =
        Load("command: /a, restart: no, environment: {B: 3, C: 4}, cpu_affinity: [2]", defaults);
    EXPECT_EQ(own.restart, "no");
    EXPECT_EQ(*own.envArgv,
              (std::map<std::string, std::string>{{"A", "1"}, {"B", "3"}, {"C", "4"}}));
    EXPECT_EQ(*own.coreAffinity, std::vector<uint32_t>{2});
    // Neither the default restart policy nor the default of starting is held against a template.
    const ManifestFields made = Load("command: /a, template: true", defaults);
    EXPECT_TRUE(made.isDynamicPara && !made.isAutoBoot);
}

TEST(GoodConfiguration, ReplacementsAreFilledInOnce) {
    const MatchData data = {{"DIR", "/opt"}, {"EMPTY", ""}, {"ODD", "${DIR}$$"}, {"YES", "false"}};
    const ManifestFields fields = Load(
        "command: \"${DIR}/a\", args: [\"${NONE:-x y}\", \"${EMPTY:-e}\", \"${EMPTY}\", "
        "\"${NONE:-}\", $$DIR, \"${ODD}\"], autostart: \"${YES}\", heartbeat: \"${YES}\"",
        "", data);
    EXPECT_EQ(fields.binPath, "/opt/a");
    EXPECT_TRUE(
        GrpOwnerLinux::LoadConfiguration(EXAMPLE, {{"BIN", "/opt"}, {"DATA", "/tmp"}}).Ok());
    EXPECT_EQ(fields.arguments, (Texts{"x y", "e", "", "", "$DIR", "${DIR}$$"}));
    EXPECT_FALSE(fields.isAutoBoot);
}

TEST(GoodConfiguration, AliasesBlocksAndAByteOrderMark) {
    const ConfigurationFile file(
        "\xEF\xBB\xBFversion: 1\r\nx-env: &env {A: b}\r\napplications:\r\n  z:\r\n"
        "    command: &path /bin/z\r\n    environment: *env\r\n  b:\r\n    command: *path\r\n"
        "    environment: *env\r\n    depends_on:\r\n      - z\r\n    args:\r\n      - >-\r\n"
        "        folded\r\n        text\r\n");
    const auto configuration = file.Load();
    ASSERT_EQ(Brief(configuration), "");
    ASSERT_EQ(configuration.manifests.size(), 2U);
    EXPECT_EQ(configuration.manifests[0].GetAppName(), "z") << "the order of the file";
    EXPECT_EQ(configuration.manifests[1].GetBinPath(), "/bin/z");
    EXPECT_EQ(configuration.manifests[1].GetArguments(), Texts{"folded text"});
    EXPECT_EQ(configuration.manifests[1].GetDependList(), std::set<std::string>{"z"});
}

}  // namespace
}  // namespace GrpOwnerTest
