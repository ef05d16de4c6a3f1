#pragma once
// What a trace tells, made ready for pictures: who was in which stage from when to when, and what
// was waited for.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/grpctl/trace/trace_reader.h"

namespace GrpCtl::Timeline {

/// What the row of an application shows; where there is no span, it was down.
enum class Stage { kWaiting, kStarting, kRestarting, kRunning, kStopping };

struct Span {
    Stage stage = Stage::kRunning;
    int64_t begin = 0;  // nanoseconds on the monotonic clock, like all times here
    int64_t end = 0;
    int32_t pid = -1;            // -1: none yet
    std::optional<size_t> move;  // what led to it
    bool isOpen = false;         // it still lasted when the trace ended
};

enum class MarkKind { kCrash, kEnd, kStartFailed, kNotRestarted, kHeartBeatLost, kHeartBeatBack };

struct Mark {
    MarkKind kind = MarkKind::kCrash;
    int64_t when = 0;
    int32_t pid = -1;
    std::string words;
};

/// A request, or one phase of it.
struct Band {
    std::string words;               // "change", "start of 4"
    Stage stage = Stage::kStarting;  // of a phase: what it brings about
    int64_t begin = 0;
    int64_t end = 0;
    std::string asker;  // of a request
    std::optional<bool> isDone;
    std::optional<int64_t> timeOut;  // when its time was over
    std::optional<size_t> request;   // of a phase
};

/// One application on its way up or down.
struct Move {
    size_t row = 0;
    ProcMgr::OptionType what = ProcMgr::OptionType::START;
    std::optional<size_t> phase;
    std::optional<size_t> waitedFor;  // the move whose result released it
    int64_t begin = 0;                // nothing was in its way any more
    int64_t sent = 0;                 // these are 0 until they happen
    int64_t reported = 0;             // by the process manager: it has a process
    int64_t spawned = 0;              // the same and the next, as far as that tells itself
    int64_t executed = 0;
    int64_t said = 0;  // by itself: it is ready
    int64_t done = 0;
    int32_t pid = -1;
    int64_t failed = 0;  // when it was known to fail

    bool IsStart() const { return what != ProcMgr::OptionType::TERM; }
};

struct Row {
    std::string name;
    std::vector<Span> spans;  // one behind the other
    std::vector<Mark> marks;
    std::vector<size_t> moves;
};

struct Story {
    std::string owner;
    int64_t origin = 0;  // of the trace: times are told from here
    int64_t begin = 0;   // of the part that was asked for
    int64_t end = 0;
    std::optional<int64_t> utcOffset;  // what makes a time one since 1970
    uint64_t missed = 0;               // steps that the trace lacks
    std::vector<Row> rows;             // in the order in which they began
    std::vector<Band> requests;
    std::vector<Band> phases;
    std::vector<Move> moves;

    std::optional<size_t> FindRow(const std::string& name) const;
};

Story Tell(const Trace& trace);

}  // namespace GrpCtl::Timeline
