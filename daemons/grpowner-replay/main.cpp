// Runs the library again through what grpownerd has recorded.

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>

#include <CLI/CLI.hpp>

#include "daemons/grpowner-replay/player.h"

namespace {

using GrpOwnerReplay::Outcome;
using GrpOwnerReplay::Recording;

constexpr int kDifferent = 1;
constexpr int kUnusable = 2;

constexpr char kFooter[] = R"(
Exit code: 0 the same log and the same answers, 1 something differs, 2 no recording.

Examples:
  grpowner-replay owner.rec
  grpowner-replay --quiet owner.rec && echo as ever
  grpowner-replay --list owner.rec | less)";

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

void TellOutcome(const Recording& recording, const Outcome& outcome) {
    if (!recording.isWhole) {
        std::printf("The recording was cut off%s.\n",
                    recording.dropped > 0 ? " in the middle of an entry" : "");
    }
    if (outcome.differences == 0) {
        std::printf("The same: %zu lines, %zu requests.\n", outcome.lines, outcome.requests);
        return;
    }
    std::printf("Different in %zu places, first at %s", outcome.differences, outcome.first.c_str());
}

int Replay(const Recording& recording, bool isQuiet) {
    theRecording = &recording;
    for (const auto& [name, value] : recording.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    // Never destroyed: threads that were under way at the end of the recording are in it.
    auto& player =
        *std::make_unique<GrpOwnerReplay::Player>(recording, [isQuiet](const std::string& line) {
             if (!isQuiet) {
                 std::printf("%s\n", line.c_str());
             }
         }).release();
    ProcMgr::Seeded::Options options;
    options.points = UINT64_MAX;
    options.guide = &player.Guide();
    const ProcMgr::Seeded::Run run(options);
    const Outcome outcome = player.Play();
    TellOutcome(recording, outcome);
    std::fflush(stdout);
    std::_Exit(outcome.differences == 0 ? EXIT_SUCCESS : kDifferent);
}

int Run(int argc, char** argv) {
    CLI::App app(
        "Runs the group owner again through what grpownerd --record has kept, and tells whether it "
        "says the same.",
        "grpowner-replay");
    app.footer(kFooter);
    app.set_version_flag("--version", GRPOWNER_VERSION);
    std::string path;
    bool isList = false;
    bool isQuiet = false;
    app.add_option("FILE", path, "The recording")->required();
    app.add_flag("--list", isList, "Show what is in the recording, one line an entry");
    app.add_flag("-q,--quiet", isQuiet, "Show no log, only whether it is the same");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUnusable;
    }
    const std::string text = ReadFile(path);
    const Recording recording = GrpOwnerReplay::ReadRecording(text);
    if (isList) {
        std::fputs(GrpOwnerReplay::ListRecording(text).c_str(), stdout);
    }
    if (!recording.error.empty()) {
        Fail(path, recording.error);
    }
    return isList ? EXIT_SUCCESS : Replay(recording, isQuiet);
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
