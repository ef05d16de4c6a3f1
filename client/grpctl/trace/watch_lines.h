#pragma once
// What happens in a group, a line for each change.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/text/wall_clock.h"
#include "client/grpctl/trace/chronicle.h"
#include "client/grpctl/trace/trace_words.h"

namespace GrpCtl {

class WatchLines {
public:
    /// @param names whose lines are wanted; empty: all, and those of the whole group
    WatchLines(Policies policies, const std::vector<std::string>& names, Screen screen);

    /// What is before the first step: a line for each application, in the order of time.
    std::string Begin(const TraceHello& hello, const std::vector<TraceState>& states);

    // What has come, for people. Empty: nothing that they need to know.
    std::string Of(const TraceStep& step, const StepFacts& facts, const Chronicle& chronicle);
    std::string Of(const ProcessEvent& event) const;
    std::string Of(const TraceGap& gap) const;

private:
    // What stands between the time and the end of a line. Either a change or words.
    struct Line {
        std::string subject;
        std::string from;
        std::string to;  // or the words, when nothing is there before
        Style style = Style::kPlain;
        std::string details;
        std::string help;
    };

    bool IsWanted(const std::string& application) const;
    Line LineOf(const TraceStep& step, const StepFacts& facts, const Chronicle& chronicle);
    Line Transition(const TraceStep& step, const StepFacts& facts);
    Line Request(const TraceStep& step, const StepFacts& facts) const;
    Line TimeOut(const TraceStep& step, const Chronicle& chronicle) const;
    static Line Result(const TraceStep& step);
    static Line HeartBeat(const TraceStep& step);
    std::string DetailsOf(const TraceStep& step, const StepFacts& facts) const;
    std::string Put(int64_t time, const Line& line) const;
    std::string Fold(std::string details, size_t column) const;

    const Policies policies_;
    const std::set<std::string> names_;
    const Screen screen_;
    WallClock clock_;
    TraceHello hello_;
    size_t nameWidth_ = 0;
    std::map<std::string, std::string> words_;  // the last one that was shown of each application
};

/// The same for programs: the step and what is known beyond it.
Json JsonOf(const TraceStep& step, const StepFacts& facts, const WallClock& clock);
Json JsonOf(const ProcessEvent& event, const WallClock& clock);
Json JsonOf(const TraceGap& gap);
Json JsonOf(const TraceHello& hello, const std::vector<TraceState>& states);

}  // namespace GrpCtl
