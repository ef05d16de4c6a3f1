#pragma once
// Faults that tests inject.

#include <chrono>
#include <cstdint>
#include <string>

namespace ProcMgrDaemon {

/// All numbers count from 1 over the life of the process; 0 means never.
struct Faults {
    uint64_t dropReport = 0;       // this report is lost
    uint64_t duplicateReport = 0;  // this report is sent twice
    std::chrono::milliseconds delayReports{0};
    uint64_t stopReadingAfter = 0;  // records; then none is read any more
    uint64_t dieAtRecord = 0;       // killed by SIGKILL as this record arrives
    uint64_t dieAtReport = 0;       // killed by SIGKILL before this report is sent

    uint64_t recordsSeen = 0;
    uint64_t reportsSeen = 0;

    /// Takes one "<fault>=<number>" of the command line.
    /// @return false when there is no such fault or the number is none
    bool Parse(const std::string& text);
};

/// Ends this process as if it had been killed from outside.
[[noreturn]] void DieNow();

}  // namespace ProcMgrDaemon
