#pragma once
// What a state does with each operation, as data: one row of nine cells for each state.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "grpowner/enumerations.h"
#include "src/common/logging.h"

namespace ProcMgr {

/// What can happen to an application, in slot order.
enum class StateOperation : uint32_t {
    kStart = 0,
    kTerm = 1,
    kRestart = 2,
    kPmStarted = 3,      // the process manager has started the process
    kPmTermTimeout = 4,  // a termination timed out, the process still runs
    kPmRestarted = 5,
    kPmExited = 6,   // normally
    kPmFailed = 7,   // exited abnormally, with a reason
    kOwnReport = 8,  // the application says that it is running
};
inline constexpr size_t kStateOperationCount = 9;

/// What must hold for a cell's result and next state. Readiness: an application that is a ROS node
/// or that reports itself runs when it says so, any other when the process manager says so.
enum class StateGuard : uint32_t {
    kAlways,
    kPmReady,      // it is not for the application to say; else PROCESSING, and the state stays
    kPmReadyTold,  // the same; the change gets a line of its own
    kOwnReady,     // it is for the application to say; else PROCESSING, and the state stays
    kLimiter,      // the restart limiter agrees; else refused with a line, and the state stays
    kIoFailure,    // always; but the reason of a start-time I/O failure has a result of its own
};

/// The answer of a command, or the result that a report has for a waiting batch.
struct StateResult {
    constexpr StateResult(bool isAccepted) : accepted(isAccepted) {}        // NOLINT: reads as one
    constexpr StateResult(AppChangeState toRecord) : recorded(toRecord) {}  // NOLINT: in the tables

    bool accepted = false;
    AppChangeState recorded = AppChangeState::PROCESSING;
};

struct StateCell {
    StateOperation operation;
    StateResult result;
    std::optional<AppStateType> next;  // none: the state stays
    StateGuard guard;
    GrpOwnerLogLevel level;
    const char*
        text;  // behind "<class> appName:<name>"; the reason follows a text that ends in '='
};

struct StateRow {
    const char* className;
    std::array<StateCell, kStateOperationCount> cells;
};

constexpr bool IsInSlotOrder(const StateRow& row) {
    for (size_t slot = 0; slot < kStateOperationCount; ++slot) {
        if (row.cells[slot].operation != static_cast<StateOperation>(slot)) {
            return false;
        }
    }
    return true;
}

/// Bare names, so that a cell fits a line.
namespace StateTable {

inline constexpr StateOperation kStart = StateOperation::kStart;
inline constexpr StateOperation kTerm = StateOperation::kTerm;
inline constexpr StateOperation kRestart = StateOperation::kRestart;
inline constexpr StateOperation kPmStarted = StateOperation::kPmStarted;
inline constexpr StateOperation kPmTermTimeout = StateOperation::kPmTermTimeout;
inline constexpr StateOperation kPmRestarted = StateOperation::kPmRestarted;
inline constexpr StateOperation kPmExited = StateOperation::kPmExited;
inline constexpr StateOperation kPmFailed = StateOperation::kPmFailed;
inline constexpr StateOperation kOwnReport = StateOperation::kOwnReport;

// The system's own names stand letter for letter.
// NOLINTBEGIN(readability-identifier-naming)
inline constexpr AppChangeState SUCCESS = AppChangeState::SUCCESS;
inline constexpr AppChangeState TERM_FAILED = AppChangeState::TERM_FAILED;
inline constexpr AppChangeState START_FAILED = AppChangeState::START_FAILED;
inline constexpr AppChangeState RESTART_FAILED = AppChangeState::RESTART_FAILED;
inline constexpr AppChangeState PROCESSING = AppChangeState::PROCESSING;

inline constexpr std::nullopt_t kStays = std::nullopt;
inline constexpr AppStateType RUNNING = AppStateType::RUNNING;
inline constexpr AppStateType STARTING = AppStateType::STARTING;
inline constexpr AppStateType RESTARTING = AppStateType::RESTARTING;
inline constexpr AppStateType TERMINATING = AppStateType::TERMINATING;
inline constexpr AppStateType TERMINATED = AppStateType::TERMINATED;
// NOLINTEND(readability-identifier-naming)

inline constexpr StateGuard kAlways = StateGuard::kAlways;
inline constexpr StateGuard kPmReady = StateGuard::kPmReady;
inline constexpr StateGuard kPmReadyTold = StateGuard::kPmReadyTold;
inline constexpr StateGuard kOwnReady = StateGuard::kOwnReady;
inline constexpr StateGuard kLimiter = StateGuard::kLimiter;
inline constexpr StateGuard kIoFailure = StateGuard::kIoFailure;

inline constexpr GrpOwnerLogLevel kInfo = GrpOwnerLogLevel::kInfo;
inline constexpr GrpOwnerLogLevel kWarning = GrpOwnerLogLevel::kWarning;
inline constexpr GrpOwnerLogLevel kError = GrpOwnerLogLevel::kError;
inline constexpr GrpOwnerLogLevel kEvent = GrpOwnerLogLevel::kEvent;

}  // namespace StateTable

}  // namespace ProcMgr
