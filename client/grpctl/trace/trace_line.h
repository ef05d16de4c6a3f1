#pragma once
// The lines of an owner's trace and of the process manager's events, as values. The lines come from
// outside: whatever stands here has been checked.

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "client/result.h"
#include "grpowner/trace.h"

namespace GrpCtl {

/// Begins a snapshot, or, in a file, what one start of the owner has done.
struct TraceHello {
    std::string owner;
    int pid = 0;
    uint64_t first = 0;  // the oldest step that is kept
    uint64_t next = 0;   // the first step behind the snapshot
    int64_t time = 0;    // one moment, in nanoseconds on the monotonic clock
    int64_t utc = 0;     // and since 1970
};

/// What an application has come to before the snapshot.
struct TraceState {
    std::string application;
    ProcMgr::AppStateType state = ProcMgr::AppStateType::INITSTATE;
    int pid = 0;  // 0: none
    int64_t since = 0;
    uint64_t cause = 0;       // the transition that brought it there
    uint32_t lateMs = 0;      // its last result came so long after the time-out; 0: in time
    uint32_t restarts = 0;    // in the limiter's window
    int64_t windowBegin = 0;  // 0: no window is open
};

/// One step of the owner. Beyond the first four, what is not of its kind keeps its default.
struct TraceStep {
    uint64_t sequence = 0;
    uint64_t cause = 0;  // 0: none known
    int64_t time = 0;    // nanoseconds on the monotonic clock
    ProcMgr::TraceKind kind = ProcMgr::TraceKind::REQUEST;
    std::string application;  // empty: the whole group
    int pid = 0;              // of the application, of a request: of who asked; 0: none

    ProcMgr::TraceRequest request = ProcMgr::TraceRequest::BOOT;  // request, request_end
    uint32_t uid = 0;                                             // request
    bool isGood = false;  // request_end, phase_end: success; limiter: allowed
    ProcMgr::OptionType operation = ProcMgr::OptionType::START;  // of a phase, or what was sent
    uint32_t count = 0;                                          // phase: applications
    uint32_t waitMs = 0;                                         // phase, time_out
    uint32_t error = 0;                                          // sent: why not; 0: it was
    ProcMgr::Message::ReportAppStateType report =
        ProcMgr::Message::ReportAppStateType::INVALID_INTERMEDIATE_STATE;
    uint32_t reason = 0;                                                // report
    ProcMgr::AppReportState said = ProcMgr::AppReportState::SWITCH_ON;  // said, heartbeat
    ProcMgr::AppStateType from = ProcMgr::AppStateType::INITSTATE;      // transition
    ProcMgr::AppStateType to = ProcMgr::AppStateType::INITSTATE;
    AppChangeState result = AppChangeState::SUCCESS;  // result
    uint32_t lateMs = 0;                              // result
    uint32_t restarts = 0;                            // limiter: in the window
    uint32_t windowMs = 0;                            // limiter: its age
};

/// Lines that have been there, but are lost.
struct TraceGap {
    uint64_t missed = 0;
    bool isOfProcesses = false;  // of the process manager's; else of the owner's
};

struct TraceEnd {
    uint64_t next = 0;
};

/// What the process manager has seen of a process.
struct ProcessEvent {
    enum class Kind { kSpawned, kExecuted, kSignal, kExited, kFailed };

    Kind kind = Kind::kSpawned;
    std::string owner;
    std::string application;
    int pid = 0;
    int64_t time = 0;      // nanoseconds on the monotonic clock
    int64_t duration = 0;  // executed: what that took; exited: how long it was up; nanoseconds
    int signal = 0;        // signal: that was sent; exited: that ended it, 0: none
    int status = 0;        // exited: without a signal
    bool hasCore = false;  // exited
    std::string text;      // signal: why it was sent; failed: what could not be done and why
};

/// A line of a kind that is not known here, or one that nobody needs.
struct TraceOther {};

using TraceItem =
    std::variant<TraceOther, TraceHello, TraceState, TraceStep, TraceGap, TraceEnd, ProcessEvent>;

/// By kind of error: kMalformed: one line that cannot be read; the next one may be fine.
/// kNotAllowed, kRefused: whoever writes there does not serve us, or not in a form known here.
GrpOwnerClient::Result<TraceItem> ReadTraceLine(std::string_view line);

/// The system's own names.
std::string_view NameOf(ProcMgr::AppStateType state);
/// As the trace writes them: "set-state".
std::string_view NameOf(ProcMgr::TraceRequest request);
std::string_view NameOf(ProcMgr::TraceKind kind);
std::string_view NameOf(ProcMgr::OptionType operation);

}  // namespace GrpCtl
