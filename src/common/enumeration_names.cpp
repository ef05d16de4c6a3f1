#include <array>
#include <string_view>
#include <utility>

#include "grpowner/enumerations.h"

namespace ProcMgr {

namespace {

using Name = std::string_view;

// Constant-initialised: a name may be logged before main.
constexpr std::array<Name, 6> kProcessStates{"INITSTATE",   "STARTING",   "RUNNING",
                                             "TERMINATING", "TERMINATED", "RESTARTING"};

constexpr std::array<Name, 6> kReportAppStateTypes{
    "RUNNING_NORMAL_START",   "RUNNING_NORMAL_RESTART",   "RUNNING_ABNORMAL_TERM_TIMEOUT",
    "TERMINATED_NORMAL_EXIT", "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE"};

// Ends here on purpose: the owner reports 2 when it is well and 3 when it is not, so a healthy
// report prints as "TERMINATING" and a failing one as the empty string.
constexpr std::array<Name, 3> kBaseServiceStates{"INIT", "RUNNING", "TERMINATING"};

constexpr std::array<Name, 2> kAppExecStates{"RUNNING", "TERMINATED"};

constexpr std::array<Name, 3> kOptionTypes{"START", "TERM", "RESTART"};

constexpr std::array<Name, 3> kGroupOwners{"DATAMASTER", "IAM", "APPMGR"};

constexpr std::array<Name, 7> kAppChangeStates{
    "SUCCESS", "TERM_FAILED", "START_FAILED",       "RESTART_FAILED",
    "INIT",    "PROCESSING",  "START_FAILED_BY_EIO"};

constexpr std::array<std::pair<uint64_t, Name>, 6> kSysStates{{
    {0, "OFF"},
    {1, "WORKING"},
    {2, "SUSPEND"},
    {3, "UPGRADE"},
    {4, "CALIBRATION"},
    {128, "DELAY_BIND_CORE"},
}};

template <size_t Size>
std::string NameAt(const std::array<Name, Size>& names, uint64_t value) {
    return value < Size ? std::string(names[value]) : std::string();
}

}  // namespace

std::string GetProcessStateStr(uint64_t value) {
    return NameAt(kProcessStates, value);
}

std::string GetReportAppStateTypeStr(uint64_t value) {
    return NameAt(kReportAppStateTypes, value);
}

std::string GetBaseServiceStateTypeStr(uint64_t value) {
    return NameAt(kBaseServiceStates, value);
}

std::string GetAppExecStateStr(uint64_t value) {
    return NameAt(kAppExecStates, value);
}

std::string GetOptionType(uint64_t value) {
    return NameAt(kOptionTypes, value);
}

std::string GetGroupOwner(uint64_t value) {
    return NameAt(kGroupOwners, value);
}

std::string GetAppState(uint64_t value) {
    return NameAt(kAppChangeStates, value);
}

std::string GetSysState(uint64_t value) {
    for (const auto& [number, name] : kSysStates) {
        if (number == value) {
            return std::string(name);
        }
    }
    return {};
}

}  // namespace ProcMgr
