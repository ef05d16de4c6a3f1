#pragma once
// Eyes for a host: what the group owner does, step by step, and what each step was caused by.
//
// The owner keeps the last steps in a ring while a host observes; a host reads it at its own pace,
// on threads of its own. Nothing is called and nothing is kept while nobody observes.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "grpowner/enumerations.h"
#include "grpowner/export.h"

namespace ProcMgr {

enum class TraceKind : uint8_t {
    REQUEST = 0,      // what: TraceRequest, value: uid and pid: process of who asked
    REQUEST_END = 1,  // what: TraceRequest, value: 1 for success; cause: the request
    PHASE = 2,        // what: OptionType, value: number of applications, extra: wait in ms
    PHASE_END = 3,    // what: OptionType, value: 1 unless it was given up; cause: the phase
    TIME_OUT = 4,     // what: OptionType, value: ms waited; cause: the phase
    RELEASED = 5,     // what: OptionType; cause: the result that was waited for last, or the phase
    SENT = 6,         // what: OptionType, value: 0 or why it was not sent; cause: the release
    REPORT = 7,       // of the process manager. what: ReportAppStateType, value: exit reason;
                      // cause: what was sent, 0 for an end that nobody asked for
    SAID = 8,         // by the application itself. what: AppReportState
    TRANSITION = 9,   // what: AppStateType after, value: AppStateType before
    RESULT = 10,      // what: OptionType of its batch, value: AppChangeState, extra: ms behind the
                      // time-out of its phase, at least 1; 0: in time
    LIMITER = 11,     // what: 1 for allowed, value: restarts in the window, extra: its age in ms
    HEARTBEAT = 12,   // what: AppReportState, lost or recovery
};

enum class TraceRequest : uint8_t {
    BOOT = 0,  // the base applications
    CHANGE = 1,
    SET_SYSTEM_STATE = 2,
    RELOAD = 3,
    DUMP = 4,
    STOP_ALL = 5,
    LIST = 6,
    VERIFY = 7,
    QUERY = 8,
    RESTART = 9,  // of one application, by the host
};

/// One step. What the numbers mean depends on the kind and stands there.
struct TraceEvent {
    uint64_t sequence = 0;  // from 1, without holes
    uint64_t cause = 0;     // the sequence of the step that led to it; 0: none known
    int64_t when = 0;       // nanoseconds on the monotonic clock
    TraceKind kind = TraceKind::REQUEST;
    uint8_t what = 0;
    uint32_t value = 0;
    uint32_t extra = 0;
    int32_t pid = 0;          // 0 where it means nothing
    std::string application;  // empty: the whole group
};

/// What the trace knows of one application, from its first step on.
struct TraceApplication {
    std::string name;
    AppStateType state = AppStateType::INITSTATE;
    int32_t pid = -1;
    int64_t since = 0;        // when it came into that state
    uint64_t cause = 0;       // the transition into it
    uint32_t lateBy = 0;      // ms behind the time-out that the result of that came; 0: in time
    uint32_t restarts = 0;    // in the limiter's window
    int64_t windowBegin = 0;  // 0: no window is open
};

struct TraceSnapshot {
    uint64_t first = 1;                          // the oldest step that is still kept
    uint64_t next = 1;                           // the first one that the snapshot does not know of
    std::vector<TraceApplication> applications;  // in the order of their first steps
};

/// Who asks: for the request that the calling thread has just brought.
struct TraceRequester {
    uint32_t uid = 0;
    int32_t pid = 0;
};

class GRPOWNER_EXPORT OwnerTrace {
public:
    /// Begins to observe, or begins anew with another size. For one thread, before enabling.
    /// @param capacity how many steps are kept, at least 1; memory is taken as they come
    /// @param requester called at the beginning of each request, on its thread, with no lock held;
    ///        may be empty
    static void Open(size_t capacity, std::function<TraceRequester()> requester);

    /// On any thread, at any time; all empty while nobody observes.
    static TraceSnapshot Snapshot();

    /// The steps from that sequence on that are still kept, `most` of them at most. A first one
    /// with a higher sequence says how many are gone.
    static std::vector<TraceEvent> Read(uint64_t from, size_t most);

    /// Waits until the step of that sequence has come.
    /// @return false at the time-out, or when somebody calls Wake
    static bool Wait(uint64_t sequence, std::chrono::milliseconds timeout);

    /// Ends all present waits.
    static void Wake();
};

}  // namespace ProcMgr
