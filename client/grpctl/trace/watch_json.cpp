#include <string>

#include "client/grpctl/trace/watch_lines.h"
#include "grpowner/enumerations.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppReportState;
using ProcMgr::TraceKind;
using std::chrono::nanoseconds;

constexpr double kNsPerMs = 1e6;

double Milliseconds(nanoseconds duration) {
    return static_cast<double>(duration.count()) / kNsPerMs;
}

Json Head(const std::string_view kind, int64_t time, const WallClock& clock) {
    Json json = NewObject();
    json["kind"] = kind;
    json["time"] = clock.Utc(time);
    json["monotonicNs"] = time;
    return json;
}

void AddEnd(Json& json, const ProcessEvent& end) {
    json["signal"] = end.signal > 0 ? Json(NameOfSignal(end.signal)) : Json();
    json["status"] = end.signal > 0 ? Json() : Json(end.status);
    json["core"] = end.hasCore;
}

void AddRequest(Json& json, const TraceStep& request) {
    json["askedBy"] = Json{{"seq", request.sequence},
                           {"request", NameOf(request.request)},
                           {"uid", request.uid},
                           {"pid", request.pid}};
}

void AddOwn(Json& json, const TraceStep& step) {
    switch (step.kind) {
        case TraceKind::REQUEST:
            json["request"] = NameOf(step.request);
            json["uid"] = step.uid;
            break;
        case TraceKind::REQUEST_END:
            json["request"] = NameOf(step.request);
            json["success"] = step.isGood;
            break;
        case TraceKind::PHASE:
            json["phase"] = NameOf(step.operation);
            json["count"] = step.count;
            json["waitMs"] = step.waitMs;
            break;
        case TraceKind::PHASE_END:
            json["phase"] = NameOf(step.operation);
            json["success"] = step.isGood;
            break;
        case TraceKind::TIME_OUT:
            json["phase"] = NameOf(step.operation);
            json["waitMs"] = step.waitMs;
            break;
        case TraceKind::RELEASED:
            json["phase"] = NameOf(step.operation);
            break;
        case TraceKind::SENT:
            json["operation"] = NameOf(step.operation);
            json["error"] = step.error;
            break;
        case TraceKind::REPORT:
            json["report"] = ProcMgr::GetReportAppStateTypeStr(static_cast<uint64_t>(step.report));
            json["reason"] = step.reason;
            break;
        case TraceKind::SAID:
            json["said"] = step.said == AppReportState::SWITCH_ON ? "SWITCH_ON" : "SWITCH_OFF";
            break;
        case TraceKind::TRANSITION:
            json["from"] = NameOf(step.from);
            json["to"] = NameOf(step.to);
            break;
        case TraceKind::RESULT:
            json["phase"] = NameOf(step.operation);
            json["result"] = ProcMgr::GetAppState(static_cast<uint64_t>(step.result));
            json["lateMs"] = step.lateMs;
            break;
        case TraceKind::LIMITER:
            json["allowed"] = step.isGood;
            json["restarts"] = step.restarts;
            json["windowMs"] = step.windowMs;
            break;
        case TraceKind::HEARTBEAT:
            json["heartbeat"] = step.said == AppReportState::HEART_BEAT_LOST ? "lost" : "back";
            break;
    }
}

}  // namespace

Json JsonOf(const TraceStep& step, const StepFacts& facts, const WallClock& clock) {
    Json json = Head(NameOf(step.kind), step.time, clock);
    json["seq"] = step.sequence;
    json["cause"] = step.cause;
    if (!step.application.empty()) {
        json["application"] = step.application;
    }
    AddOwn(json, step);
    if (facts.pid > 0) {
        json["pid"] = facts.pid;
    }
    if (facts.end) {
        AddEnd(json, *facts.end);
    }
    if (facts.up) {
        json["uptimeMs"] = Milliseconds(*facts.up);
    }
    if (facts.took) {
        json["tookMs"] = Milliseconds(*facts.took);
    }
    if (facts.isUnasked) {
        json["crash"] = facts.isCrash;
    }
    if (!facts.releasedBy.empty()) {
        json["releasedBy"] = facts.releasedBy;
    }
    if (facts.decision) {
        json["restarts"] = facts.decision->restarts;
    }
    if (facts.request && step.kind != TraceKind::REQUEST) {
        AddRequest(json, *facts.request);
    }
    return json;
}

Json JsonOf(const ProcessEvent& event, const WallClock& clock) {
    constexpr const char* kKinds[] = {"spawned", "executed", "signal", "exited", "failed"};
    Json json = Head(kKinds[static_cast<size_t>(event.kind)], event.time, clock);
    json["application"] = event.application;
    json["pid"] = event.pid;
    switch (event.kind) {
        case ProcessEvent::Kind::kSpawned:
            break;
        case ProcessEvent::Kind::kExecuted:
            json["tookMs"] = Milliseconds(nanoseconds(event.duration));
            break;
        case ProcessEvent::Kind::kSignal:
            json["signal"] = NameOfSignal(event.signal);
            json["reason"] = event.text;
            break;
        case ProcessEvent::Kind::kExited:
            AddEnd(json, event);
            json["uptimeMs"] = Milliseconds(nanoseconds(event.duration));
            break;
        case ProcessEvent::Kind::kFailed:
            json["error"] = event.text;
            break;
    }
    return json;
}

Json JsonOf(const TraceGap& gap) {
    Json json = NewObject();
    json["kind"] = "gap";
    json["of"] = gap.isOfProcesses ? "processes" : "steps";
    json["missed"] = gap.missed;
    return json;
}

Json JsonOf(const TraceHello& hello, const std::vector<TraceState>& states) {
    const WallClock clock(hello.time, hello.utc);
    Json json = Head("snapshot", hello.time, clock);
    json["owner"] = hello.owner;
    json["ownerPid"] = hello.pid;
    json["first"] = hello.first;
    json["next"] = hello.next;
    json["applications"] = Json::array();
    for (const TraceState& state : states) {
        json["applications"].push_back(
            {{"name", state.application},
             {"state", NameOf(state.state)},
             {"pid", state.pid > 0 ? Json(state.pid) : Json()},
             {"since", clock.Utc(state.since)},
             {"cause", state.cause},
             {"lateMs", state.lateMs},
             {"restarts", state.restarts},
             {"windowAgeMs",
              state.windowBegin > 0 ? Json((hello.time - state.windowBegin) / 1000000) : Json()}});
    }
    return json;
}

}  // namespace GrpCtl
