#include "daemons/procmgrd/event_lines.h"

#include <sys/wait.h>

#include <chrono>
#include <cstring>

#include "daemons/common/json_line.h"
#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

namespace {

using Daemons::JsonLine;

const char* KindText(ProcessEventKind kind) {
    switch (kind) {
        case ProcessEventKind::kSpawned:
            return "spawned";
        case ProcessEventKind::kExecuted:
            return "executed";
        case ProcessEventKind::kSignal:
            return "signal";
        case ProcessEventKind::kExited:
            return "exited";
        case ProcessEventKind::kFailed:
            return "failed";
    }
    return "";
}

const char* ReasonText(SignalReason reason) {
    switch (reason) {
        case SignalReason::kStop:
            return "stop";
        case SignalReason::kRestart:
            return "restart";
        case SignalReason::kGroupEnd:
            return "group-end";
        case SignalReason::kStopTimeOut:
            return "stop-time-out";
    }
    return "";
}

void AddHead(JsonLine& line, uint64_t sequence, int64_t time, const char* kind) {
    line.Number("seq", sequence).Number("time", time).Text("kind", kind);
}

void AddApplication(JsonLine& line, const ApplicationId& id) {
    line.Text("owner", id.owner).Text("application", id.name);
}

void AddSignal(JsonLine& line, int number) {
    const char* const name = sigabbrev_np(number);
    line.Number("signal", number);
    if (name != nullptr) {
        line.Text("name", std::string("SIG").append(name));
    }
}

void AddExit(JsonLine& line, int waitStatus) {
    if (WIFSIGNALED(waitStatus)) {
        AddSignal(line, WTERMSIG(waitStatus));
        line.Flag("core", WCOREDUMP(waitStatus));
    } else {
        line.Number("status", WEXITSTATUS(waitStatus));
    }
}

int64_t RealTime() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

void AppendLine(std::string& out, const ProcessEvent& event) {
    JsonLine line(out);
    AddHead(line, event.sequence, event.time, KindText(event.kind));
    AddApplication(line, *event.application);
    line.Number("pid", event.pid);
    switch (event.kind) {
        case ProcessEventKind::kSpawned:
            break;
        case ProcessEventKind::kExecuted:
            line.Number("took_ns", event.duration);
            break;
        case ProcessEventKind::kSignal:
            AddSignal(line, event.number);
            line.Text("reason", ReasonText(event.reason));
            break;
        case ProcessEventKind::kExited:
            AddExit(line, event.number);
            line.Number("uptime_ns", event.duration);
            break;
        case ProcessEventKind::kFailed:
            line.Text("step", event.step)
                .Number("errno", event.number)
                .Text("error", ErrorText(event.number));
            break;
    }
}

void AppendLine(std::string& out, const ApplicationId& application, const OutputLine& line) {
    JsonLine json(out);
    AddHead(json, line.sequence, line.time, "output");
    AddApplication(json, application);
    json.Number("pid", line.pid).Text("text", line.text);
    if (line.isCut) {
        json.Flag("cut", true);
    }
}

void AppendLine(std::string& out, const Gap& gap) {
    JsonLine line(out);
    AddHead(line, gap.sequence, gap.time, "gap");
    if (gap.application != nullptr) {
        AddApplication(line, *gap.application);
    }
    line.Text("of", gap.application != nullptr ? "output" : "events").Number("missed", gap.missed);
}

void AppendHello(std::string& out, uint64_t first, uint64_t next, bool keepsOutput) {
    JsonLine(out)
        .Number("schema", 1)
        .Text("kind", "hello")
        .Text("service", "procmgrd")
        .Number("first", first)
        .Number("next", next)
        .Number("time", Nanoseconds(std::chrono::steady_clock::now()))
        .Number("utc", RealTime())
        .Flag("keeps_output", keepsOutput);
}

void AppendTurn(std::string& out, bool goesOn, uint64_t next) {
    JsonLine(out).Text("kind", goesOn ? "live" : "end").Number("next", next);
}

void AppendRefusal(std::string& out, const char* error, const std::string& reason) {
    JsonLine(out)
        .Number("schema", 1)
        .Text("kind", "refused")
        .Text("error", error)
        .Text("reason", reason);
}

}  // namespace ProcMgrDaemon
