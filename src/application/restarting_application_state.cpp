#include "src/application/restarting_application_state.h"

namespace ProcMgr {

namespace {

using namespace StateTable;

// clang-format off
constexpr StateRow kRow{"RestartingApplicationState", {{
    {kStart,         false,          kStays,      kAlways,    kError,   " Start, it's invalid operation."},
    {kTerm,          true,           TERMINATING, kAlways,    kWarning, " Term"},
    {kRestart,       false,          kStays,      kAlways,    kError,   " Restart, it's invalid operation."},
    {kPmStarted,     PROCESSING,     kStays,      kAlways,    kWarning, " ReportRunningNormalStartFromProcMgr"},
    {kPmTermTimeout, PROCESSING,     kStays,      kAlways,    kWarning, " ReportRunningAbnormalTermTimeoutFromProcMgr"},
    {kPmRestarted,   SUCCESS,        RUNNING,     kPmReady,   kInfo,    " ReportRunningNormalReStartFromProcMgr"},
    {kPmExited,      RESTART_FAILED, TERMINATED,  kAlways,    kWarning, " ReportTerminatedNormalFromProcMgr"},
    {kPmFailed,      RESTART_FAILED, TERMINATED,  kIoFailure, kInfo,    " ReportTerminatedAbnormalFromProcMgr"},
    {kOwnReport,     SUCCESS,        RUNNING,     kOwnReady,  kWarning, " ReportRunningNormalStartFromApp"},
}}};
// clang-format on
static_assert(IsInSlotOrder(kRow));

}  // namespace

bool RestartingApplicationState::Start() {
    return Command(kRow, kStart);
}

bool RestartingApplicationState::Term() {
    return Command(kRow, kTerm);
}

bool RestartingApplicationState::Restart() {
    return Command(kRow, kRestart);
}

AppChangeState RestartingApplicationState::ReportRunningNormalStartFromProcMgr() {
    return Report(kRow, kPmStarted);
}

AppChangeState RestartingApplicationState::ReportRunningAbnormalTermTimeoutFromProcMgr() {
    return Report(kRow, kPmTermTimeout);
}

AppChangeState RestartingApplicationState::ReportRunningNormalReStartFromProcMgr() {
    return Report(kRow, kPmRestarted);
}

AppChangeState RestartingApplicationState::ReportTerminatedNormalFromProcMgr() {
    return Report(kRow, kPmExited);
}

AppChangeState RestartingApplicationState::ReportTerminatedAbnormalFromProcMgr(uint32_t reason) {
    return Report(kRow, kPmFailed, reason);
}

AppChangeState RestartingApplicationState::ReportRunningNormalStartFromApp() {
    return Report(kRow, kOwnReport);
}

}  // namespace ProcMgr
