#pragma once
// What observers are told, as lines of JSON.

#include <cstdint>
#include <string>

#include "daemons/procmgrd/output_ring.h"
#include "daemons/procmgrd/process_event.h"

namespace ProcMgrDaemon {

/// Something that is no longer there.
struct Gap {
    const ApplicationId* application = nullptr;  // whose output; null: events of any application
    uint64_t missed = 0;
    uint64_t sequence = 0;  // of what comes next
    int64_t time = 0;
};

// Each appends one line.

void AppendLine(std::string& out, const ProcessEvent& event);
void AppendLine(std::string& out, const ApplicationId& application, const OutputLine& line);
void AppendLine(std::string& out, const Gap& gap);

/// @param first the oldest sequence number of an event that is still there
/// @param next the one that will be given next: what has a lower one is past
void AppendHello(std::string& out, uint64_t first, uint64_t next, bool keepsOutput);

/// All that is past has been told.
/// @param goesOn what comes is told as well
void AppendTurn(std::string& out, bool goesOn, uint64_t next);

/// @param error a word for programs
void AppendRefusal(std::string& out, const char* error, const std::string& reason);

}  // namespace ProcMgrDaemon
