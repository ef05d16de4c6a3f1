#pragma once
// The enumerations that the group owner shares with its host, and their names in logs and answers.

#include <cstdint>
#include <string>

#include "grpowner/export.h"

/// Result of a change request for one application.
enum class AppChangeState : uint32_t {
    SUCCESS = 0,
    TERM_FAILED = 1,
    START_FAILED = 2,
    RESTART_FAILED = 3,
    INIT = 4,        // requested, nothing done yet
    PROCESSING = 5,  // sent, no final result yet
    START_FAILED_BY_EIO = 6,
};

namespace ProcMgr {

/// State of one application.
enum class AppStateType : uint32_t {
    INITSTATE = 0,
    RUNNING = 1,
    STARTING = 2,
    RESTARTING = 3,
    TERMINATING = 4,
    TERMINATED = 5,
};

/// What an application, or the heartbeat watcher on its behalf, reports about itself.
enum class AppReportState : uint32_t {
    SWITCH_ON = 0,
    SWITCH_OFF = 1,
    HEART_BEAT_LOST = 2,
    HEART_BEAT_RECOVERY = 3,
    ABNORMAL_EXIT = 4,
    ACTIVELY_EXIT = 5,
};

/// What to do with one application of a change request.
enum class OptionType : uint32_t { START = 0, TERM = 1, RESTART = 2 };

/// Which daemon owns the group.
enum class GroupOwner : uint32_t { DATAMASTER = 0, IAM = 1, APPMGR = 2 };

/// The state that the system-state manager sets.
enum class SysState : uint32_t {
    OFF = 0,
    WORKING = 1,
    SUSPEND = 2,
    UPGRADE = 3,
    CALIBRATION = 4,
    DELAY_BIND_CORE = 128,
};

/// The group owner's own state. It reports 2 when it runs well and 3 when it fails; the name table
/// ends at 2 nevertheless.
enum class BaseServiceState : uint32_t { INIT = 0, RUNNING = 1, TERMINATING = 2 };

/// Execution state of an application.
enum class AppExecState : uint32_t { RUNNING = 0, TERMINATED = 1 };

namespace Message {

/// Kind of a state report that the process manager sends about one application.
enum class ReportAppStateType : uint32_t {
    RUNNING_NORMAL_START = 0,
    RUNNING_NORMAL_RESTART = 1,
    RUNNING_ABNORMAL_TERM_TIMEOUT = 2,
    TERMINATED_NORMAL_EXIT = 3,
    TERMINATED_ABNORMAL_EXIT = 4,
    INVALID_INTERMEDIATE_STATE = 5,
};

/// Why an application exited abnormally. Any number may arrive; only 1 is treated apart.
enum class AppAbnormalExitReason : uint32_t { START_IO_FAILURE = 1 };

}  // namespace Message

// The name of a value, widened; the empty string when it has none.

/// Names by process state, which is numbered in another order than AppStateType.
GRPOWNER_EXPORT std::string GetProcessStateStr(uint64_t value);
GRPOWNER_EXPORT std::string GetReportAppStateTypeStr(uint64_t value);
GRPOWNER_EXPORT std::string GetBaseServiceStateTypeStr(uint64_t value);
GRPOWNER_EXPORT std::string GetAppExecStateStr(uint64_t value);
GRPOWNER_EXPORT std::string GetOptionType(uint64_t value);
GRPOWNER_EXPORT std::string GetGroupOwner(uint64_t value);

/// Names by AppChangeState.
GRPOWNER_EXPORT std::string GetAppState(uint64_t value);
GRPOWNER_EXPORT std::string GetSysState(uint64_t value);

}  // namespace ProcMgr
