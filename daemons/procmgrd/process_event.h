#pragma once
// What happens to processes, as observers are told.

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

namespace ProcMgrDaemon {

/// Whose process it is. Shared, since what is told of an application may outlive it.
struct ApplicationId {
    std::string owner;
    std::string name;
};

enum class ProcessEventKind : uint8_t { kSpawned, kExecuted, kSignal, kExited, kFailed };

/// Why the process manager has sent a signal.
enum class SignalReason : uint8_t { kStop, kRestart, kGroupEnd, kStopTimeOut };

/// Thousands are kept: small.
struct ProcessEvent {
    std::shared_ptr<const ApplicationId> application;
    uint64_t sequence = 0;  // set by the journal
    int64_t time = 0;       // nanoseconds of the monotonic clock
    union {
        int64_t duration = 0;  // executed: how long that took; exited: up-time; nanoseconds
        const char* step;      // failed: what could not be done; lives for ever
    };
    pid_t pid = 0;        // failed: 0
    uint16_t number = 0;  // signal: its number; exited: wait status; failed: errno
    ProcessEventKind kind = ProcessEventKind::kSpawned;
    SignalReason reason = SignalReason::kStop;
};

}  // namespace ProcMgrDaemon
