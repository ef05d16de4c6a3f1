// Runs the library again through what grpownerd has recorded.

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "daemons/grpowner-replay/player.h"

namespace {

using GrpOwnerReplay::Outcome;
using GrpOwnerReplay::Recording;

constexpr int kDifferent = 1;
constexpr int kUnusable = 2;

constexpr char kFooter[] = R"(
Exit code: 0 the same log and the same answers, 1 something differs, 2 no recording.
With --expect the log of LOG counts, and nothing else: for a recording of what has been mended.

Examples:
  grpowner-replay owner.rec
  grpowner-replay --quiet owner.rec && echo as ever
  grpowner-replay --list owner.rec | less
  grpowner-replay owner.rec > owner.log; grpowner-replay -q --expect owner.log owner.rec)";

// NOLINTNEXTLINE(concurrency-mt-unsafe): of the recording, for the whole process
const Recording* theRecording = nullptr;

[[noreturn]] void Fail(const std::string& path, const std::string& why) {
    std::fprintf(stderr,
                 "error: cannot replay %s\n  why: %s\n"
                 " help: recordings are made by grpownerd --record FILE\n",
                 path.c_str(), why.c_str());
    std::exit(kUnusable);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        Fail(path, std::strerror(errno));
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Options {
    std::string path;
    std::string expected;  // path of a log; empty: the recorded one
    bool isList = false;
    bool isQuiet = false;
};

using Log = std::vector<std::string>;

// What is printed behind the log begins with a letter.
Log ReadLog(const std::string& path) {
    std::istringstream text(ReadFile(path));
    Log log;
    for (std::string line; std::getline(text, line);) {
        if (!line.empty() && std::isalpha(static_cast<unsigned char>(line.front())) == 0) {
            log.push_back(line);
        }
    }
    return log;
}

std::string LineAt(const Log& log, size_t place) {
    return place < log.size() ? log[place] : "nothing";
}

bool IsAsExpected(const Log& expected, const Log& log) {
    const auto [here, there] =
        std::mismatch(expected.begin(), expected.end(), log.begin(), log.end());
    if (here == expected.end() && there == log.end()) {
        std::printf("As expected: %zu lines.\n", log.size());
        return true;
    }
    const auto place = static_cast<size_t>(here - expected.begin());
    std::printf("Not as expected, first in line %zu\n  expected: %s\n  replayed: %s\n", place + 1,
                LineAt(expected, place).c_str(), LineAt(log, place).c_str());
    return false;
}

bool IsAsRecorded(const Outcome& outcome) {
    if (outcome.differences == 0) {
        std::printf("The same: %zu lines, %zu requests.\n", outcome.lines, outcome.requests);
        return true;
    }
    std::printf("Different in %zu places, first at %s", outcome.differences, outcome.first.c_str());
    return false;
}

int Replay(const Recording& recording, const Options& options) {
    const Log expected = options.expected.empty() ? Log() : ReadLog(options.expected);
    theRecording = &recording;
    for (const auto& [name, value] : recording.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    Log log;
    // Never destroyed: threads that were under way at the end of the recording are in it.
    auto& player =
        *std::make_unique<GrpOwnerReplay::Player>(recording, [&](const std::string& line) {
             log.push_back(line);
             if (!options.isQuiet) {
                 std::printf("%s\n", line.c_str());
             }
         }).release();
    ProcMgr::Seeded::Options schedule;
    schedule.points = UINT64_MAX;
    schedule.guide = &player.Guide();
    const ProcMgr::Seeded::Run run(schedule);
    const Outcome outcome = player.Play();
    if (!recording.isWhole) {
        std::printf("The recording was cut off%s.\n",
                    recording.dropped > 0 ? " in the middle of an entry" : "");
    }
    const bool isGood =
        options.expected.empty() ? IsAsRecorded(outcome) : IsAsExpected(expected, log);
    std::fflush(stdout);
    std::_Exit(isGood ? EXIT_SUCCESS : kDifferent);
}

int Run(int argc, char** argv) {
    CLI::App app(
        "Runs the group owner again through what grpownerd --record has kept, and tells whether it "
        "says the same.",
        "grpowner-replay");
    app.footer(kFooter);
    app.set_version_flag("--version", GRPOWNER_VERSION);
    Options options;
    app.add_option("FILE", options.path, "The recording")->required();
    app.add_flag("--list", options.isList, "Show what is in the recording, one line an entry");
    app.add_flag("-q,--quiet", options.isQuiet, "Show no log, only whether it is the same");
    app.add_option("--expect", options.expected, "Compare with this log, not with the recorded one")
        ->type_name("LOG");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUnusable;
    }
    const std::string text = ReadFile(options.path);
    const Recording recording = GrpOwnerReplay::ReadRecording(text);
    if (options.isList) {
        std::fputs(GrpOwnerReplay::ListRecording(text).c_str(), stdout);
    }
    if (!recording.error.empty()) {
        Fail(options.path, recording.error);
    }
    return options.isList ? EXIT_SUCCESS : Replay(recording, options);
}

}  // namespace

// The core looks where the start configuration really lies: there, not here.
extern "C" {
char* __wrap_realpath(const char* path, char* resolved);                       // NOLINT: ld's name
char* __wrap___realpath_chk(const char* path, char* resolved, size_t length);  // NOLINT

char* __wrap_realpath(const char* path, char* resolved) {  // NOLINT
    const auto found = theRecording->paths.find(path);
    if (found == theRecording->paths.end() || found->second.size() >= PATH_MAX) {
        errno = ENOENT;
        return nullptr;
    }
    return std::strcpy(resolved, found->second.c_str());  // NOLINT: checked
}

char* __wrap___realpath_chk(const char* path, char* resolved, size_t /*length*/) {  // NOLINT
    return __wrap_realpath(path, resolved);
}
}

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return kUnusable;
    }
}
