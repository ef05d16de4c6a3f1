#include "src/application/running_application_state.h"

namespace ProcMgr {

namespace {

using namespace StateTable;

// clang-format off
constexpr StateRow kRow{"RunningApplicationState", {{
    {kStart,         true,       kStays,      kAlways,  kWarning,
     " Start, it's duplicate operation, but we return true, should mark the operation"
     " success directly"},
    {kTerm,          true,       TERMINATING, kAlways,  kInfo,    " Term"},
    {kRestart,       true,       RESTARTING,  kLimiter, kInfo,    " Restart"},
    {kPmStarted,     PROCESSING, kStays,      kAlways,  kWarning, " ReportRunningNormalStartFromProcMgr"},
    {kPmTermTimeout, PROCESSING, kStays,      kAlways,  kWarning, " ReportRunningAbnormalTermTimeoutFromProcMgr"},
    {kPmRestarted,   PROCESSING, kStays,      kAlways,  kWarning, " ReportRunningNormalReStartFromProcMgr"},
    {kPmExited,      PROCESSING, TERMINATED,  kAlways,  kWarning, " ReportTerminatedNormalFromProcMgr"},
    {kPmFailed,      PROCESSING, TERMINATED,  kAlways,  kInfo,    " ReportTerminatedAbnormalFromProcMgr, reason="},
    {kOwnReport,     PROCESSING, kStays,      kAlways,  kError,
     " ReportRunningNormalStartFromApp. there is something wrong in app cfg, please check"
     " is_ros_node(it should be true)"},
}}};
// clang-format on
static_assert(IsInSlotOrder(kRow));

}  // namespace

bool RunningApplicationState::Start() {
    return Command(kRow, kStart);
}

bool RunningApplicationState::Term() {
    return Command(kRow, kTerm);
}

bool RunningApplicationState::Restart() {
    return Command(kRow, kRestart);
}

AppChangeState RunningApplicationState::ReportRunningNormalStartFromProcMgr() {
    return Report(kRow, kPmStarted);
}

AppChangeState RunningApplicationState::ReportRunningAbnormalTermTimeoutFromProcMgr() {
    return Report(kRow, kPmTermTimeout);
}

AppChangeState RunningApplicationState::ReportRunningNormalReStartFromProcMgr() {
    return Report(kRow, kPmRestarted);
}

AppChangeState RunningApplicationState::ReportTerminatedNormalFromProcMgr() {
    return Report(kRow, kPmExited);
}

AppChangeState RunningApplicationState::ReportTerminatedAbnormalFromProcMgr(uint32_t reason) {
    return Report(kRow, kPmFailed, reason);
}

AppChangeState RunningApplicationState::ReportRunningNormalStartFromApp() {
    return Report(kRow, kOwnReport);
}

}  // namespace ProcMgr
