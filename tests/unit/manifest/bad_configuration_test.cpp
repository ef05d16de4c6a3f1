#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <sstream>

#include "tests/unit/manifest/configuration_file.h"

namespace GrpOwnerTest {
namespace {

using GrpOwnerLinux::Configuration;
using GrpOwnerLinux::Diagnostic;

constexpr char kHead[] = "version: 1\napplications:\n";

std::string ReadAll(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// One run tells all of them, in the form that people read.
TEST(BadConfiguration, EveryKindOfMistakeAtOnce) {
    const std::string folder = TEST_DATA "/";
    std::filesystem::current_path(folder);
    const Configuration configuration = GrpOwnerLinux::LoadConfiguration("every_mistake.yaml", {});
    EXPECT_FALSE(configuration.Ok());
    EXPECT_TRUE(configuration.manifests.empty());
    EXPECT_EQ(GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics),
              ReadAll(folder + "every_mistake.txt"));
}

// What spoils the whole file, or shows only in one that is otherwise good.
TEST(BadConfiguration, Table) {
    const std::string deep(64, '[');
    const std::string app = std::string(kHead) + "  a: {command: /a";
    const struct {
        std::string text, findings;
    } kRows[] = {
        {"", "1:1: the file is empty | begin it with the line `version: 1`\n"},
        {"[]",
         "1:1: `the file` must be a map | for example `applications: {logger: {command: "
         "/opt/rover/logger}}`\n"},
        {"applications: {}\n",
         "1:1: the file does not say its `version` | begin it with the line `version: 1`\n"},
        {"version: 1\n",
         "1:1: the file has no `applications` | for example `applications: "
         "{logger: {command: /opt/rover/logger}}`\n"},
        {app + "}\n---\n", "4:1: a second document begins here | one file describes one group\n"},
        {std::string(kHead) + "  a: {command: \"/a}\n  b: {comand: /b}\n",
         "3:16: this quote is never closed\n"},
        {std::string(kHead) + "\ta: {}\n",
         "3:1: this line is indented with a tab | indent with blanks\n"},
        {std::string(kHead) + "  a: {commnd: /a}\n  b:\n    command: /b\n   args: [x]\n",
         "3:7: `commnd` is not a key of an application | did you mean `command`?\n"
         "6:4: this is not YAML: did not find expected key, while parsing a block mapping | what "
         "cannot go on here begins in line 3\n"},
        {app + ", x-a: &a [*a]}\n", "3:29: `*a` stands inside of what it stands for\n"},
        {"version: 1\nx-a: " + deep, "2:69: this is nested deeper than 64 levels\n"},
        {std::string(kHead) + "  a: \xC3\xA4\xC3\n",
         "3:7: the byte 0xc3 is not valid UTF-8 | save "
         "the file as UTF-8 text\n"},
        {std::string(kHead) + "  a: b\x1B[31m\n",
         "3:7: the control character U+001B is not "
         "allowed | save the file as UTF-8 text\n"},
        {app + ", autostart: false, template: true, restart: on-failure}\n",
         "3:63: warning: a template is never restarted by itself | this restart policy will have "
         "no effect\n"},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(Brief(ConfigurationFile(row.text).Load()), row.findings) << row.text;
    }
}

TEST(BadConfiguration, WarningsAloneLeaveItGood) {
    const ConfigurationFile file(std::string(kHead) +
                                 "  a: {command: /a, depends_on: [b]}\n"
                                 "  b: {command: /b, autostart: false}\n");
    const Configuration configuration = file.Load();
    EXPECT_EQ(configuration.diagnostics.size(), 1U);
    EXPECT_TRUE(configuration.Ok());
    EXPECT_EQ(configuration.manifests.size(), 2U);
}

TEST(BadConfiguration, FilesThatCannotBeRead) {
    const ConfigurationFile file;
    const std::string folder = std::filesystem::path(file.Path()).parent_path();
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    EXPECT_EQ(Brief(GrpOwnerLinux::LoadConfiguration(folder + "/none", {})),
              "0:0: cannot read this file: No such file or directory\n");
    for (const char* const odd : {"/", "/pipe"}) {  // neither fails nor waits
        EXPECT_EQ(Brief(GrpOwnerLinux::LoadConfiguration(folder + odd, {})),
                  "0:0: cannot read this file: it is not a regular file\n");
    }
    EXPECT_EQ(GrpOwnerLinux::RenderDiagnostics(
                  GrpOwnerLinux::LoadConfiguration("/none", {{"A", "x#y"}}).diagnostics),
              "/none: error: cannot read this file: No such file or directory\n\n"
              "/none: error: the replacement `A` cannot hold `#`\n");
}

// Both sides of each bound.
TEST(BadConfiguration, Limits) {
    const auto isGood = [](const std::string& text, const ParseAndDepend::MatchData& data = {}) {
        return ConfigurationFile(text).Load(data).Ok();
    };
    const auto app = [](const std::string& name, const std::string& keys) {
        return kHead + ("  " + name + ": {command: /a, " + keys + "}\n");
    };
    const std::string good = app("a", "");
    EXPECT_TRUE(isGood(good + std::string(1024 * 1024 - good.size(), '\n')));
    EXPECT_FALSE(isGood(good + std::string(1024 * 1024 - good.size() + 1, '\n')));
    EXPECT_TRUE(isGood(app(std::string(63, 'n'), "")));
    EXPECT_FALSE(isGood(app(std::string(64, 'n'), "")));
    // "a#" "1#" "...#" "0#"
    EXPECT_TRUE(isGood(app("a", "args: [" + std::string(3955 - 7, 'x') + "]")));
    EXPECT_FALSE(isGood(app("a", "args: [" + std::string(3955 - 6, 'x') + "]")));
    EXPECT_TRUE(isGood(app("a", "x-deep: " + std::string(61, '[') + std::string(61, ']'))));
    EXPECT_FALSE(isGood(app("a", "x-deep: " + std::string(62, '[') + std::string(62, ']'))));
    EXPECT_TRUE(isGood(app("a", "user: 4294967294, node_type: 2147483647, cpu_affinity: [8191]")));
    EXPECT_FALSE(isGood(app("a", "user: 4294967295")));
    EXPECT_FALSE(isGood(app("a", "node_type: 2147483648")));
    EXPECT_FALSE(isGood(app("a", "cpu_affinity: [8192]")));
    EXPECT_FALSE(isGood(app("a", "stop_timeout: 0s")));
    EXPECT_FALSE(isGood(good, {{"A", std::string(3955, 'x')}}));
}

// Small files that ask for much: refused before it is made.
TEST(BadConfiguration, NothingGrowsWithoutBound) {
    std::string laughs = "version: 1\nx-0: &a0 [x, x, x, x, x, x, x, x, x]\n";
    for (int level = 1; level <= 20; ++level) {
        const std::string below = "*a" + std::to_string(level - 1);
        laughs += "x-" + std::to_string(level) + ": &a" + std::to_string(level) + " [" + below;
        for (int i = 0; i < 8; ++i) {
            laughs += ", " + below;
        }
        laughs += "]\n";
    }
    EXPECT_NE(Brief(ConfigurationFile(laughs).Load()).find("stand for too much"),
              std::string::npos);
    std::string replaced = std::string(kHead) + "  a: {command: /a, args: [";
    for (int i = 0; i < 20000; ++i) {
        replaced += "\"${A}${A}${A}${A}${A}${A}${A}${A}\", ";
    }
    EXPECT_NE(Brief(ConfigurationFile(replaced + "]}\n").Load({{"A", std::string(3800, 'x')}}))
                  .find("make too much text"),
              std::string::npos);
    // A cycle as long as the file is told in a line.
    std::string chain = kHead;
    for (int i = 0; i < 10000; ++i) {
        chain += "  a" + std::to_string(i) + ": {command: /a, depends_on: [a" +
                 std::to_string((i + 1) % 10000) + "]}\n";
    }
    const Configuration cyclic = ConfigurationFile(chain).Load();
    ASSERT_EQ(cyclic.diagnostics.size(), 1U);
    EXPECT_EQ(cyclic.diagnostics[0].message,
              "`a0` depends on itself: a0 -> a1 -> a2 -> a3 -> a4 -> a5 -> a6 -> ... -> a9995 -> "
              "a9996 -> a9997 -> a9998 -> a9999 -> a0");
}

// Whatever the bytes: no crash, and either manifests or errors whose places are in the file.
TEST(BadConfiguration, HostileBytes) {
    const std::string good = ReadAll(TEST_DATA "/rover.yaml");
    ASSERT_TRUE(ConfigurationFile(good).Load().Ok());
    ConfigurationFile file;
    const auto check = [&file](const std::string& text) {
        file.Write(text);
        const Configuration configuration = file.Load({{"PLACE", "/opt"}});
        EXPECT_EQ(configuration.Ok() || !configuration.manifests.empty(), configuration.Ok());
        const auto lines = static_cast<uint32_t>(std::count(text.begin(), text.end(), '\n') + 1);
        for (const Diagnostic& found : configuration.diagnostics) {
            EXPECT_TRUE(found.line >= 1 && found.line <= lines + 1 && found.column >= 1 &&
                        found.message.find('\n') == std::string::npos)
                << text;
        }
        return GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics).size();
    };
    size_t rendered = 0;
    for (size_t place = 0; place < good.size(); ++place) {
        rendered += check(good.substr(0, place));
        for (const char byte : std::string("\0\n\"{[:*&\xFF\xC3", 10)) {
            std::string text = good;
            text[place] = byte;
            rendered += check(text);
        }
    }
    EXPECT_GT(rendered, good.size());
}

}  // namespace
}  // namespace GrpOwnerTest
