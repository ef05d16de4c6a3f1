#pragma once
// Puts the steps of a trace together: what led to each, and how long things took.

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "client/grpctl/trace/process_ends.h"
#include "client/grpctl/trace/trace_line.h"

namespace GrpCtl {

/// What a step means beyond what it says itself. Only what is of its kind is set.
struct StepFacts {
    int pid = 0;                                   // 0: none, or not known
    std::optional<std::chrono::nanoseconds> took;  // to get there, or for a request to be done
    std::optional<std::chrono::nanoseconds> up;    // an end: how long it had run
    std::optional<ProcessEvent> end;               // how its process ended
    std::optional<TraceStep> request;              // who is behind it
    std::optional<TraceStep> decision;             // of the limiter, behind a restart
    std::string releasedBy;                        // the application that it waited for last
    bool isUnasked = false;                        // an end that nobody asked for
    bool isCrash = false;                          // and not a clean one
};

class Chronicle {
public:
    void Take(const TraceState& state);

    /// Steps are taken in their order.
    StepFacts Take(const TraceStep& step, const ProcessEnds& ends);

    /// Null: not kept.
    const TraceStep* At(uint64_t sequence) const;
    const TraceStep* CauseOf(const TraceStep& step) const;

    /// The request at the beginning of what led to a step. Null: none, or not kept.
    const TraceStep* RequestBehind(const TraceStep& step) const;

    const std::deque<TraceStep>& Steps() const { return steps_; }

private:
    // Of one application.
    struct Present {
        ProcMgr::AppStateType state = ProcMgr::AppStateType::INITSTATE;
        int64_t since = 0;
        int64_t runningSince = 0;  // 0: not known
        int pid = 0;
    };

    StepFacts FactsOf(const TraceStep& step, const ProcessEnds& ends) const;
    void AddEnd(const TraceStep& step, const ProcessEnds& ends, int64_t begun,
                StepFacts& facts) const;
    void Remember(const TraceStep& step, int pid);

    std::deque<TraceStep> steps_;
    std::map<std::string, Present> presents_;
};

}  // namespace GrpCtl
