#pragma once
// Why an application is in its state: what a trace tells of it, in words.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "client/grpctl/trace/chronicle.h"
#include "client/grpctl/trace/trace_reader.h"
#include "client/grpctl/trace/trace_words.h"

namespace GrpCtl {

struct WhyStep {
    int64_t time = 0;
    uint64_t sequence = 0;
    std::string text;
};

struct Why {
    TraceState state;
    bool isKnown = false;        // the owner has done something with it
    bool isDown = false;         // ended, and nobody had asked for it
    bool isBooting = false;      // the start of the base applications is under way
    std::string waitsFor;        // of a start: "READY=1 of its process"
    std::vector<WhyStep> chain;  // the newest first
    bool isWhole = true;         // it goes back to who asked
};

/// Follows the causes behind the present states of applications.
class Explanation {
public:
    Explanation(const Trace& trace, Policies policies);

    Why Of(const std::string& application) const;

    /// For what is no more than "it needs others": INITSTATE when nothing is known.
    ProcMgr::AppStateType StateOf(const std::string& application) const;

private:
    using Transitions = std::vector<const TraceStep*>;

    TraceState Present(const std::string& application) const;
    void AddRemarks(Why& why) const;
    void AddTransitions(Why& why) const;
    void AddSetGoing(Why& why, const TraceStep& step, const std::string& words) const;
    void AddRequest(Why& why, const TraceStep& step) const;
    std::string Releases(const TraceStep& step) const;
    std::string WaitOf(const Why& why) const;
    bool IsBooting() const;

    const Trace& trace_;
    const Policies policies_;
    Chronicle chronicle_;
    std::map<uint64_t, StepFacts> facts_;             // of the transitions
    std::map<std::string, Transitions> transitions_;  // of each application
};

}  // namespace GrpCtl
