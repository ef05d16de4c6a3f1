#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>
#include <sstream>

#include "tests/unit/manifest/configuration_file.h"

namespace GrpOwnerTest {
namespace {

using GrpOwnerLinux::Configuration;

constexpr char kHead[] = "version: 1\napplications:\n";

std::string ReadAll(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// Every file of a folder that stands for others of its kind.
void AppendFindings(const std::string& folder, bool isGood, std::string& findings) {
    std::set<std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        files.insert(file.path());
    }
    for (const std::string& file : files) {
        const Configuration configuration =
            GrpOwnerLinux::LoadConfiguration(file, {{"BIN", "/b"}, {"DATA", "/d"}});
        EXPECT_EQ(configuration.Ok(), isGood) << file;
        EXPECT_EQ(configuration.manifests.empty(), !isGood) << file;
        const std::string brief = Brief(configuration);
        if (!brief.empty()) {
            findings += (findings.empty() ? "" : "\n") + file + "\n" + brief;
        }
    }
}

// What the reader says of the good and the bad ones; the schema is tried on the same files. One run
// tells all mistakes of a file.
TEST(BadConfiguration, Findings) {
    std::filesystem::current_path(CONFIGURATIONS);
    std::string findings;
    AppendFindings("bad", false, findings);
    AppendFindings("good", true, findings);
    EXPECT_EQ(findings, ReadAll("findings.txt"));
}

TEST(BadConfiguration, TheFormThatPeopleRead) {
    std::filesystem::current_path(CONFIGURATIONS "/bad");
    const Configuration configuration = GrpOwnerLinux::LoadConfiguration("every-mistake.yaml", {});
    const std::string rendered = GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics);
    for (const char* const part : {R"(every-mistake.yaml:1:10: error: version `2` is not known
  |
1 | version: 2
  |          ^
  = help: this program reads version 1

every-mistake.yaml:2:1: error: )",
                                   R"(
   |
18 |   e: {command: "${PLACE}/x", args: ["ä$x", "${", "${1}", *no], readiness: notfy}
   |                                                          ^^^
)"}) {
        EXPECT_NE(rendered.find(part), std::string::npos) << part << " is not in\n" << rendered;
    }
}

TEST(BadConfiguration, FilesThatCannotBeRead) {
    const ConfigurationFile file;
    const std::string folder = std::filesystem::path(file.Path()).parent_path();
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
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
    const auto app = [](const std::string& keys, const std::string& name = "a") {
        return kHead + ("  " + name + ": {command: /a, " + keys + "}\n");
    };
    const auto file = [&app](size_t size) {
        return app("") + std::string(size - app("").size(), '\n');
    };
    const auto argument = [&app](size_t size) {  // of the record "a#" "1#" "...#" "0#"
        return app("args: [" + std::string(size - 7, 'x') + "]");
    };
    const auto nested = [&app](size_t levels) {
        return app("x-deep: " + std::string(levels - 3, '[') + std::string(levels - 3, ']'));
    };
    const struct {
        std::string good, bad;
    } kBounds[] = {
        {file(1024 * 1024), file(1024 * 1024 + 1)},
        {app("", std::string(63, 'n')), app("", std::string(64, 'n'))},
        {argument(3955), argument(3956)},
        {nested(64), nested(65)},
        {app("user: 4294967294"), app("user: 4294967295")},
        {app("node_type: 2147483647"), app("node_type: 2147483648")},
        {app("cpu_affinity: [8191]"), app("cpu_affinity: [8192]")},
        {app("stop_timeout: 1ms"), app("stop_timeout: 0s")},
    };
    for (const auto& [good, bad] : kBounds) {
        EXPECT_TRUE(ConfigurationFile(good).Load().Ok()) << good.substr(0, 100);
        EXPECT_FALSE(ConfigurationFile(bad).Load().Ok()) << bad.substr(0, 100);
    }
    EXPECT_FALSE(ConfigurationFile(app("")).Load({{"A", std::string(3955, 'x')}}).Ok());
}

// Small files that ask for much: refused before it is made, and told in a line.
TEST(BadConfiguration, NothingGrowsWithoutBound) {
    std::string laughs = "version: 1\nx-0: &a0 [x]\n";
    for (int level = 1; level <= 60; ++level) {
        const std::string below = "*a" + std::to_string(level - 1);
        laughs += "x-" + std::to_string(level) + ": &a" + std::to_string(level) + " [" + below +
                  ", " + below + "]\n";
    }
    std::string replaced = kHead + std::string("  a: {command: /a, args: [");
    for (int i = 0; i < 20000; ++i) {
        replaced += "\"${A}${A}${A}${A}${A}${A}${A}${A}\", ";
    }
    std::string cycle = kHead;
    for (int i = 0; i < 10000; ++i) {
        cycle += "  a" + std::to_string(i) + ": {command: /a, depends_on: [a" +
                 std::to_string((i + 1) % 10000) + "]}\n";
    }
    const std::pair<std::string, const char*> kRows[] = {
        {laughs, "stand for too much"},
        {replaced + "]}\n", "make too much text"},
        {cycle, "a3 -> a4 -> a5 -> a6 -> ... -> a9995 -> a9996 -> a9997 -> a9998 -> a9999 -> a0"},
    };
    for (const auto& [text, told] : kRows) {
        const Configuration configuration =
            ConfigurationFile(text).Load({{"A", std::string(3800, 'x')}});
        EXPECT_NE(Brief(configuration).find(told), std::string::npos) << told;
    }
}

}  // namespace
}  // namespace GrpOwnerTest
