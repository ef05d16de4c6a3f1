// Shows what happens in the group, as it happens.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/trace/trace_reader.h"
#include "client/grpctl/trace/watch_lines.h"
#include "client/grpctl/typed/verb_runs.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::Error;
using GrpOwnerClient::ErrorKind;
using std::chrono::milliseconds;

// What the configuration adds to the trace. An owner that is too busy to answer can be watched all
// the same.
Policies ReadPolicies(const Options& options) {
    Policies policies;
    try {
        Session session(options);
        const Group group = Group::Learn(session.Client());
        group.Check(options.operands);
        for (const ApplicationManifest& manifest : group.Manifests()) {
            policies[manifest.GetAppName()] = manifest.GetRestart();
        }
    } catch (const Failure& failure) {
        if (failure.code == kNoSuchApplication) {
            throw;
        }
        Say(options, "the configuration is not known: " + failure.what);
    }
    return policies;
}

class Watch {
public:
    explicit Watch(const Options& options)
        : options_(options),
          reader_(TraceReader::Follow(options, -1)),
          lines_(ReadPolicies(options), options.operands,
                 Screen::Of(STDOUT_FILENO, options.color)) {}

    [[noreturn]] void Run() {
        constexpr milliseconds kLongest = std::chrono::hours(1);
        while (true) {
            // All that has come is shown at once: a terminal is slow.
            auto item = reader_.Next(milliseconds(0), interrupt_.Descriptor());
            if (!item && item.GetError().kind == ErrorKind::kTimeout) {
                BeginOnce();
                (void)std::fflush(stdout);  // main looks at the stream's state
                item = reader_.Next(kLongest, interrupt_.Descriptor());
            }
            if (item) {
                std::visit([this](const auto& value) { Take(value); }, *item);
            } else {
                Take(item.GetError());
            }
        }
    }

private:
    bool IsJson() const { return options_.format == Format::kJson; }

    bool IsWanted(const std::string& application) const {
        return options_.operands.empty() ||
               std::find(options_.operands.begin(), options_.operands.end(), application) !=
                   options_.operands.end();
    }

    // The snapshot is whole with the first item that is not of it, or when none follows.
    void BeginOnce() {
        if (hasBegun_ || hello_.owner.empty()) {
            return;
        }
        hasBegun_ = true;
        for (const TraceState& state : states_) {
            chronicle_.Take(state);
        }
        if (IsJson()) {
            PutJsonLine(JsonOf(hello_, states_));
        } else {
            Put(lines_.Begin(hello_, states_));
        }
    }

    void Take(const TraceOther&) {}
    void Take(const TraceEnd&) {}
    void Take(const TraceState& state) {
        if (IsWanted(state.application)) {
            states_.push_back(state);
        }
    }

    void Take(const TraceHello& hello) {
        hello_ = hello;
        clock_ = WallClock(hello.time, hello.utc);
    }

    void Take(const TraceStep& step) {
        BeginOnce();
        const StepFacts facts = chronicle_.Take(step, reader_.Ends());
        if (!IsJson()) {
            Put(lines_.Of(step, facts, chronicle_));
        } else if (options_.operands.empty() || IsWanted(step.application)) {
            PutJsonLine(JsonOf(step, facts, clock_));
        }
    }

    void Take(const ProcessEvent& event) {
        if (event.time < hello_.time) {
            return;
        }
        BeginOnce();
        if (!IsJson()) {
            Put(lines_.Of(event));
        } else if (IsWanted(event.application)) {
            PutJsonLine(JsonOf(event, clock_));
        }
    }

    void Take(const TraceGap& gap) {
        BeginOnce();
        if (IsJson()) {
            PutJsonLine(JsonOf(gap));
        } else {
            Put(lines_.Of(gap));
        }
    }

    void Take(const Error& error) {
        switch (error.kind) {
            case ErrorKind::kMalformed:
                Say(options_, "not understood: " + error.message);
                return;
            case ErrorKind::kTimeout:
                return;
            case ErrorKind::kUnreachable:
                throw Failure{kUnreachable, "the group owner has ended", error.message, ""};
            default:
                throw ToFailure(error);
        }
    }

    const Options& options_;
    Interrupt interrupt_;
    TraceReader reader_;
    WatchLines lines_;
    Chronicle chronicle_;
    TraceHello hello_;
    WallClock clock_;
    std::vector<TraceState> states_;
    bool hasBegun_ = false;
};

}  // namespace

int RunWatch(const Options& options) {
    Watch(options).Run();
}

}  // namespace GrpCtl
