#include "client/grpctl/trace/chronicle.h"

#include <algorithm>

namespace GrpCtl {

namespace {

using ProcMgr::AppStateType;
using ProcMgr::TraceKind;
using std::chrono::nanoseconds;

constexpr size_t kMostSteps = size_t{1} << 18;

std::optional<nanoseconds> Between(int64_t begin, int64_t end) {
    return begin > 0 && end >= begin ? std::optional(nanoseconds(end - begin)) : std::nullopt;
}

}  // namespace

void Chronicle::Take(const TraceState& state) {
    Present& present = presents_[state.application];
    present.state = state.state;
    present.since = state.since;
    present.runningSince = state.state == AppStateType::RUNNING ? state.since : 0;
    present.pid = state.pid;
}

StepFacts Chronicle::Take(const TraceStep& step, const ProcessEnds& ends) {
    StepFacts facts = FactsOf(step, ends);
    steps_.push_back(step);
    if (steps_.size() > kMostSteps) {
        steps_.pop_front();
    }
    if (step.kind == TraceKind::TRANSITION) {
        Remember(step, facts.pid);
    }
    return facts;
}

const TraceStep* Chronicle::At(uint64_t sequence) const {
    const auto step = std::lower_bound(
        steps_.begin(), steps_.end(), sequence,
        [](const TraceStep& entry, uint64_t number) { return entry.sequence < number; });
    return step == steps_.end() || step->sequence != sequence ? nullptr : &*step;
}

const TraceStep* Chronicle::CauseOf(const TraceStep& step) const {
    // A cause lies in the past; what says otherwise could lead in a circle.
    return step.cause == 0 || step.cause >= step.sequence ? nullptr : At(step.cause);
}

const TraceStep* Chronicle::RequestBehind(const TraceStep& step) const {
    const TraceStep* at = &step;
    while (at != nullptr && at->kind != TraceKind::REQUEST) {
        at = CauseOf(*at);
    }
    return at;
}

StepFacts Chronicle::FactsOf(const TraceStep& step, const ProcessEnds& ends) const {
    StepFacts facts;
    facts.pid = step.pid;
    const TraceStep* const cause = CauseOf(step);
    if (const TraceStep* const request = RequestBehind(step)) {
        facts.request = *request;
    }
    if (step.kind == TraceKind::REQUEST_END && facts.request) {
        facts.took = Between(facts.request->time, step.time);
    }
    if (step.kind != TraceKind::TRANSITION) {
        return facts;
    }
    const auto known = presents_.find(step.application);
    const Present present = known == presents_.end() ? Present() : known->second;
    if (step.to == AppStateType::TERMINATED) {
        facts.pid = step.pid > 0 ? step.pid : present.pid;
        AddEnd(step, ends, present.since, facts);
        facts.up = facts.end && facts.end->duration > 0
                       ? std::optional(nanoseconds(facts.end->duration))
                       : Between(present.runningSince, step.time);
    }
    if (step.to == AppStateType::RUNNING ||
        (step.to == AppStateType::TERMINATED && step.from == AppStateType::TERMINATING)) {
        facts.took = Between(present.since, step.time);
    }
    if (step.to == AppStateType::RUNNING && cause != nullptr && cause->pid > 0) {
        facts.pid = cause->pid;  // it may have spoken before its process was known
    }
    if (cause != nullptr && cause->kind == TraceKind::LIMITER) {
        facts.decision = *cause;
    }
    if (cause != nullptr && cause->kind == TraceKind::RELEASED) {
        const TraceStep* const before = CauseOf(*cause);
        facts.releasedBy = before != nullptr ? before->application : "";
    }
    return facts;
}

void Chronicle::AddEnd(const TraceStep& step, const ProcessEnds& ends, int64_t begun,
                       StepFacts& facts) const {
    using Type = ProcMgr::Message::ReportAppStateType;
    const TraceStep* const report = CauseOf(step);
    if (report == nullptr || report->kind != TraceKind::REPORT) {
        return;
    }
    facts.isUnasked = step.from != AppStateType::TERMINATING;
    facts.isCrash = facts.isUnasked && report->report == Type::TERMINATED_ABNORMAL_EXIT;
    facts.pid = report->pid > 0 ? report->pid : facts.pid;
    const ProcessEvent* const end = ends.Find(step.application, facts.pid);
    // Of an earlier start, or of an earlier process with that number.
    const bool isOld = end != nullptr && end->time < begun;
    if (end != nullptr && !isOld) {
        facts.end = *end;
    } else if (auto told = EndByReason(*report)) {
        facts.end = *told;
    }
}

void Chronicle::Remember(const TraceStep& step, int pid) {
    Present& present = presents_[step.application];
    present.state = step.to;
    present.since = step.time;
    present.pid = pid;
    if (step.to == AppStateType::RUNNING) {
        present.runningSince = step.time;
    } else if (step.to != AppStateType::TERMINATING) {
        present.runningSince = 0;
    }
}

}  // namespace GrpCtl
