#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace GrpCtl {

enum class Format { kText, kWide, kJson, kName, kPid };
enum class Color { kAuto, kAlways, kNever };
enum class ProgressForm { kAuto, kTerminal, kPlain, kJson, kNone };

/// Index to values.
using Parameters = std::map<int32_t, std::vector<std::string>>;

/// The command line.
struct Options {
    std::string verb;
    std::vector<std::string> operands;
    std::vector<std::string> arguments;  // behind "--"

    // Which owner.
    std::string socket;  // path; empty: by the owner's name
    std::string owner;   // empty: the only one there is

    // How to show and how long to wait.
    Format format = Format::kText;
    Color color = Color::kAuto;
    ProgressForm progress = ProgressForm::kAuto;
    bool isQuiet = false;
    std::optional<std::chrono::milliseconds> timeout;

    // Changes.
    std::vector<std::string> stops;
    std::vector<std::string> starts;
    std::vector<std::string> restarts;
    std::string changeFile;  // "-": standard input
    Parameters parameters;
    bool isWithoutDependencies = false;
    bool isWithDependents = false;
    bool isForced = false;
    bool isDryRun = false;

    // check and graph
    std::map<std::string, std::string> defines;
    std::string ifFalls;
    std::string graphFormat = "tree";

    // wait
    bool isForStopped = false;

    // events
    std::optional<uint64_t> eventCount;

    // What reads the trace.
    std::string traceFile;  // empty: the owner's socket

    // log
    bool isFollowing = false;
    std::optional<uint64_t> lineCount;

    // timeline
    std::optional<std::chrono::milliseconds> from;  // from the beginning of the trace
    std::optional<std::chrono::milliseconds> until;
    std::string timelineFormat = "svg";
    std::optional<std::chrono::milliseconds> threshold;  // of its diff

    // raw
    std::string inputFile;  // "-": standard input
    std::optional<std::string> inputText;
    bool isRecord = false;  // the bytes are the data of a record
    std::optional<uint64_t> claimedSize;

    // decode
    bool isHex = false;       // the input is digits
    std::string recordShape;  // what the payload is; empty: as the record says

    std::chrono::milliseconds Timeout() const {
        return timeout.value_or(std::chrono::milliseconds(5000));
    }
};

}  // namespace GrpCtl
