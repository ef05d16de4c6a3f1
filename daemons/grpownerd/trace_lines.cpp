#include "daemons/grpownerd/trace_lines.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <vector>

#include "daemons/common/json_line.h"
#include "grpowner/trace.h"

namespace GrpOwnerDaemon {

namespace {

using ProcMgr::OwnerTrace;
using ProcMgr::TraceEvent;
using ProcMgr::TraceKind;

constexpr int kSchema = 1;
constexpr size_t kStepsAtOnce = 256;
constexpr std::chrono::milliseconds kLongestWait{1000};

template <size_t Size>
const char* NameAt(const char* const (&names)[Size], size_t value) {
    return value < Size ? names[value] : "unknown";
}

constexpr const char* kKinds[] = {"request",  "request_end", "phase",    "phase_end", "time_out",
                                  "released", "sent",        "report",   "said",      "transition",
                                  "result",   "limiter",     "heartbeat"};
constexpr const char* kRequests[] = {"boot",     "change", "set-state", "reload", "dump",
                                     "stop-all", "list",   "verify",    "query",  "restart"};
constexpr const char* kOptions[] = {"start", "term", "restart"};
constexpr const char* kStates[] = {"INITSTATE",  "RUNNING",     "STARTING",
                                   "RESTARTING", "TERMINATING", "TERMINATED"};
constexpr const char* kReportStates[] = {"SWITCH_ON", "SWITCH_OFF",    "lost",
                                         "back",      "ABNORMAL_EXIT", "ACTIVELY_EXIT"};

int64_t Nanoseconds(std::chrono::nanoseconds since) {
    return since.count();
}

void AddRequest(Daemons::JsonLine& line, const TraceEvent& event) {
    line.Text("request", NameAt(kRequests, event.what));
    if (event.kind == TraceKind::REQUEST) {
        line.Number("uid", event.value).Number("pid", event.pid);
    } else {
        line.Flag("success", event.value != 0);
    }
}

void AddPhase(Daemons::JsonLine& line, const TraceEvent& event) {
    line.Text("phase", NameAt(kOptions, event.what));
    if (event.kind == TraceKind::PHASE) {
        line.Number("count", event.value).Number("wait_ms", event.extra);
    } else if (event.kind == TraceKind::PHASE_END) {
        line.Flag("success", event.value != 0);
    } else if (event.kind == TraceKind::TIME_OUT) {
        line.Number("wait_ms", event.value);
    }
}

void AddDetails(Daemons::JsonLine& line, const TraceEvent& event) {
    switch (event.kind) {
        case TraceKind::REQUEST:
        case TraceKind::REQUEST_END:
            return AddRequest(line, event);
        case TraceKind::PHASE:
        case TraceKind::PHASE_END:
        case TraceKind::TIME_OUT:
        case TraceKind::RELEASED:
            return AddPhase(line, event);
        case TraceKind::SENT:
            line.Text("operation", NameAt(kOptions, event.what)).Number("result", event.value);
            return;
        case TraceKind::REPORT:
            line.Text("report", ProcMgr::GetReportAppStateTypeStr(event.what));
            line.Number("pid", event.pid).Number("reason", event.value);
            return;
        case TraceKind::SAID:
            line.Text("said", NameAt(kReportStates, event.what)).Number("pid", event.pid);
            return;
        case TraceKind::TRANSITION:
            line.Text("from", NameAt(kStates, event.value)).Text("to", NameAt(kStates, event.what));
            line.Number("pid", event.pid);
            return;
        case TraceKind::RESULT:
            line.Text("phase", NameAt(kOptions, event.what));
            line.Text("result", ProcMgr::GetAppState(event.value)).Number("late_ms", event.extra);
            return;
        case TraceKind::LIMITER:
            line.Flag("allowed", event.what != 0).Number("restarts", event.value);
            line.Number("window_ms", event.extra);
            return;
        case TraceKind::HEARTBEAT:
            line.Text("heartbeat", NameAt(kReportStates, event.what)).Number("pid", event.pid);
            return;
    }
}

void Append(std::string& out, const TraceEvent& event) {
    Daemons::JsonLine line(out);
    line.Number("seq", event.sequence).Number("time", event.when);
    line.Text("kind", NameAt(kKinds, static_cast<size_t>(event.kind)));
    if (!event.application.empty()) {
        line.Text("application", event.application);
    }
    AddDetails(line, event);
    line.Number("cause", event.cause);
}

void Append(std::string& out, const ProcMgr::TraceApplication& application) {
    Daemons::JsonLine line(out);
    line.Text("kind", "state").Text("application", application.name);
    line.Text("state", NameAt(kStates, static_cast<size_t>(application.state)));
    line.Number("pid", application.pid).Number("since", application.since);
    line.Number("cause", application.cause).Number("late_ms", application.lateBy);
    line.Number("restarts", application.restarts).Number("window_begin", application.windowBegin);
}

}  // namespace

std::string TraceLines::Begin(const std::string& owner, int64_t from) {
    const ProcMgr::TraceSnapshot snapshot = OwnerTrace::Snapshot();
    next_ = from == 0  ? snapshot.first
            : from < 0 ? snapshot.next
                       : std::min(static_cast<uint64_t>(from), snapshot.next);
    before_ = next_;
    std::string out;
    Daemons::JsonLine(out)
        .Text("kind", "hello")
        .Number("schema", kSchema)
        .Text("owner", owner)
        .Number("pid", getpid())
        .Number("first", snapshot.first)
        .Number("next", snapshot.next)
        .Number("time", Nanoseconds(std::chrono::steady_clock::now().time_since_epoch()))
        .Number("utc", Nanoseconds(std::chrono::system_clock::now().time_since_epoch()))
        .Number("states", snapshot.applications.size());
    for (const ProcMgr::TraceApplication& application : snapshot.applications) {
        Append(out, application);
    }
    return out;
}

std::string TraceLines::Next() {
    before_ = next_;
    std::string out;
    for (const TraceEvent& event : OwnerTrace::Read(next_, kStepsAtOnce)) {
        if (event.sequence > next_) {
            Daemons::JsonLine(out)
                .Text("kind", "gap")
                .Number("missed", event.sequence - next_)
                .Number("next", event.sequence);
        }
        Append(out, event);
        next_ = event.sequence + 1;
    }
    return out;
}

bool TraceLines::Wait() const {
    return OwnerTrace::Wait(next_, kLongestWait);
}

void TraceLines::Pause() {
    (void)OwnerTrace::Wait(UINT64_MAX, kLongestWait);
}

std::string TraceLines::End() const {
    std::string out;
    Daemons::JsonLine(out).Text("kind", "end").Number("next", next_);
    return out;
}

}  // namespace GrpOwnerDaemon
