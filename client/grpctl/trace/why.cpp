#include "client/grpctl/trace/why.h"

#include <algorithm>
#include <set>
#include <utility>

#include "client/grpctl/text/duration.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppReportState;
using ProcMgr::AppStateType;
using ProcMgr::TraceKind;
using ProcMgr::TraceRequest;
using std::chrono::milliseconds;

void Add(Why& why, const TraceStep& step, std::string text) {
    why.chain.push_back({step.time, step.sequence, std::move(text)});
}

bool IsOnItsWay(AppStateType state) {
    return state == AppStateType::STARTING || state == AppStateType::RESTARTING ||
           state == AppStateType::TERMINATING;
}

std::string RunningWords(const StepFacts& facts, const TraceStep* cause) {
    std::string words = cause != nullptr && cause->kind == TraceKind::SAID
                            ? "it said that it is ready (READY=1)"
                            : "its process ran";
    words += facts.pid > 0 ? ", pid " + std::to_string(facts.pid) : "";
    return words + (facts.took ? ", +" + Show(*facts.took) : "");
}

std::string EndedWords(const TraceStep& step, const StepFacts& facts) {
    const std::string details = EndWords(facts);
    const std::string what = !facts.isUnasked                      ? "it stopped"
                             : step.from == AppStateType::RUNNING  ? "it ended by itself"
                             : step.from == AppStateType::STARTING ? "its start failed"
                             : facts.isCrash                       ? "its restart failed"
                                                                   : "it ended";
    return what + (details.empty() ? "" : ": " + details);
}

}  // namespace

Explanation::Explanation(const Trace& trace, Policies policies)
    : trace_(trace), policies_(std::move(policies)) {
    ProcessEnds ends;
    for (const ProcessEvent& event : trace.processes) {
        ends.Add(event);
    }
    for (const TraceStep& step : trace.steps) {
        StepFacts facts = chronicle_.Take(step, ends);
        if (step.kind == TraceKind::TRANSITION) {
            facts_[step.sequence] = std::move(facts);
        }
    }
    for (const TraceStep& step : chronicle_.Steps()) {
        if (step.kind == TraceKind::TRANSITION) {
            transitions_[step.application].push_back(&step);
        }
    }
}

// A file has no snapshot, and steps may have come behind it.
TraceState Explanation::Present(const std::string& application) const {
    TraceState present;
    present.application = application;
    const auto state =
        std::find_if(trace_.states.begin(), trace_.states.end(),
                     [&](const TraceState& entry) { return entry.application == application; });
    if (state != trace_.states.end()) {
        present = *state;
    }
    const auto known = transitions_.find(application);
    if (known != transitions_.end() && known->second.back()->sequence > present.cause) {
        const TraceStep& last = *known->second.back();
        present.state = last.to;
        present.since = last.time;
        present.cause = last.sequence;
        present.pid = facts_.at(last.sequence).pid;
        present.lateMs = 0;
    }
    return present;
}

AppStateType Explanation::StateOf(const std::string& application) const {
    return Present(application).state;
}

Why Explanation::Of(const std::string& application) const {
    Why why;
    why.state = Present(application);
    why.isKnown = why.state.cause != 0;
    why.isBooting = IsBooting();
    why.waitsFor = WaitOf(why);
    AddRemarks(why);
    AddTransitions(why);
    return why;
}

// The latest phase of all decides.
bool Explanation::IsBooting() const {
    const auto& steps = chronicle_.Steps();
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        if (step->kind == TraceKind::REQUEST || step->kind == TraceKind::REQUEST_END) {
            if (step->request == TraceRequest::BOOT) {
                return step->kind == TraceKind::REQUEST;
            }
        }
    }
    return false;
}

std::string Explanation::WaitOf(const Why& why) const {
    if (why.state.state != AppStateType::STARTING && why.state.state != AppStateType::RESTARTING) {
        return "";
    }
    const auto& steps = chronicle_.Steps();
    for (auto step = steps.rbegin(); step != steps.rend() && step->sequence > why.state.cause;
         ++step) {
        if (step->kind == TraceKind::REPORT && step->application == why.state.application) {
            return "READY=1 of its process, pid " + std::to_string(step->pid);
        }
    }
    return "the process manager to start its program";
}

// What has happened to it since it came into its state, the newest first.
void Explanation::AddRemarks(Why& why) const {
    const auto& steps = chronicle_.Steps();
    const TraceStep* failed = nullptr;
    for (auto step = steps.rbegin(); step != steps.rend() && step->sequence > why.state.cause;
         ++step) {
        const std::string operation = WordOf(step->operation);
        if (step->kind == TraceKind::TIME_OUT && IsOnItsWay(why.state.state)) {
            Add(why, *step,
                "the " + operation + "'s time-out of " + ShowDuration(milliseconds(step->waitMs)) +
                    " was over; a late result counts all the same");
        }
        if (step->application != why.state.application) {
            continue;
        }
        if (step->kind == TraceKind::HEARTBEAT) {
            const bool isLost = step->said == AppReportState::HEART_BEAT_LOST;
            Add(why, *step, isLost ? "its heartbeat was lost" : "its heartbeat was back");
        } else if (step->kind == TraceKind::LIMITER && !step->isGood) {
            Add(why, *step, "not restarted: " + RefusalWords(*step));
        } else if (step->kind == TraceKind::RESULT && step->result != AppChangeState::SUCCESS) {
            if (why.state.state == AppStateType::TERMINATED) {
                continue;  // its end says more
            }
            Add(why, *step, "its " + operation + " failed");
            failed = &*step;
        } else if (step->kind == TraceKind::RESULT && step->lateMs > 0) {
            Add(why, *step, "its " + operation + " was done " + LateWords(step->lateMs));
        }
    }
    // No change of its state tells who had asked.
    if (failed != nullptr && why.state.state == AppStateType::INITSTATE) {
        AddRequest(why, *failed);
    }
}

// Back to who set it going; of a row of crashes the newest and the first are told.
void Explanation::AddTransitions(Why& why) const {
    const auto known = transitions_.find(why.state.application);
    size_t crashes = 0;
    const TraceStep* firstCrash = nullptr;
    const auto addFirst = [&] {
        if (crashes > 1) {
            Add(why, *firstCrash, "the first of " + std::to_string(crashes) + " such ends");
        }
    };
    const Transitions none;
    const Transitions& all = known == transitions_.end() ? none : known->second;
    for (auto at = all.rbegin(); at != all.rend(); ++at) {
        const TraceStep& step = **at;
        const StepFacts& facts = facts_.at(step.sequence);
        switch (step.to) {
            case AppStateType::RUNNING:
                if (crashes == 0) {
                    Add(why, step, RunningWords(facts, chronicle_.CauseOf(step)));
                }
                break;
            case AppStateType::TERMINATED:
                if (facts.isUnasked) {
                    firstCrash = &step;
                    why.isDown |= at == all.rbegin();
                }
                if (!facts.isUnasked || crashes++ == 0) {
                    Add(why, step, EndedWords(step, facts));
                }
                break;
            case AppStateType::RESTARTING:
                if (facts.request) {
                    addFirst();
                    return AddSetGoing(why, step, "it was restarted");
                }
                if (crashes == 0) {
                    Add(why, step,
                        "it was started again: " + (facts.decision
                                                        ? RestartWords(*facts.decision, policies_)
                                                        : std::string("restart")));
                }
                break;
            case AppStateType::STARTING:
                addFirst();
                return AddSetGoing(why, step, "it was started" + Releases(step));
            case AppStateType::TERMINATING:
                return AddSetGoing(why, step, "it was told to stop" + Releases(step));
            case AppStateType::INITSTATE:
                break;
        }
    }
    addFirst();
    why.isWhole = !why.isKnown;
}

void Explanation::AddSetGoing(Why& why, const TraceStep& step, const std::string& words) const {
    Add(why, step, words);
    AddRequest(why, step);
}

void Explanation::AddRequest(Why& why, const TraceStep& step) const {
    const TraceStep* const request = chronicle_.RequestBehind(step);
    if (request == nullptr) {
        why.isWhole = false;
        return;
    }
    const TraceStep* const before = chronicle_.CauseOf(*request);
    if (request->request == TraceRequest::BOOT) {
        Add(why, *request, "the group was booted");
    } else if (before != nullptr && before->kind == TraceKind::HEARTBEAT) {
        Add(why, *before, "its heartbeat was lost");
    } else {
        Add(why, *request,
            Requester(*request, trace_.hello.pid) +
                ", asked for it: " + std::string(NameOf(request->request)));
    }
}

// ", released by camera, that by clock, that by logger"
std::string Explanation::Releases(const TraceStep& step) const {
    constexpr size_t kMost = 8;  // the deepest chains are not read any more
    std::string words;
    std::set<std::string> seen{step.application};
    for (const TraceStep* at = chronicle_.CauseOf(step); at != nullptr;
         at = chronicle_.CauseOf(*at)) {
        if (at->kind != TraceKind::RESULT || !seen.insert(at->application).second) {
            continue;
        }
        if (seen.size() > kMost) {
            return words + ", and so on";
        }
        words += (words.empty() ? ", released by " : ", that by ") + at->application;
    }
    return words;
}

}  // namespace GrpCtl
