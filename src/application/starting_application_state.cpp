#include "src/application/starting_application_state.h"

namespace ProcMgr {

namespace {

using namespace StateTable;

// clang-format off
constexpr StateRow kRow{"StartingApplicationState", {{
    {kStart,         false,        kStays,      kAlways,      kError,   " Start, it's invalid operation."},
    {kTerm,          true,         TERMINATING, kAlways,      kWarning, " Term"},
    {kRestart,       false,        kStays,      kAlways,      kError,   " Restart, it's invalid operation."},
    {kPmStarted,     SUCCESS,      RUNNING,     kPmReadyTold, kEvent,   " ReportRunningNormalStartFromProcMgr"},
    {kPmTermTimeout, PROCESSING,   kStays,      kAlways,      kWarning, " ReportRunningAbnormalTermTimeoutFromProcMgr"},
    {kPmRestarted,   PROCESSING,   kStays,      kAlways,      kWarning, " ReportRunningNormalReStartFromProcMgr"},
    {kPmExited,      START_FAILED, TERMINATED,  kAlways,      kWarning, " ReportTerminatedNormalFromProcMgr"},
    {kPmFailed,      START_FAILED, TERMINATED,  kIoFailure,   kInfo,    " ReportTerminatedAbnormalFromProcMgr"},
    {kOwnReport,     SUCCESS,      RUNNING,     kOwnReady,    kInfo,    " ReportRunningNormalStartFromApp"},
}}};
// clang-format on
static_assert(IsInSlotOrder(kRow));

}  // namespace

bool StartingApplicationState::Start() {
    return Command(kRow, kStart);
}

bool StartingApplicationState::Term() {
    return Command(kRow, kTerm);
}

bool StartingApplicationState::Restart() {
    return Command(kRow, kRestart);
}

AppChangeState StartingApplicationState::ReportRunningNormalStartFromProcMgr() {
    return Report(kRow, kPmStarted);
}

AppChangeState StartingApplicationState::ReportRunningAbnormalTermTimeoutFromProcMgr() {
    return Report(kRow, kPmTermTimeout);
}

AppChangeState StartingApplicationState::ReportRunningNormalReStartFromProcMgr() {
    return Report(kRow, kPmRestarted);
}

AppChangeState StartingApplicationState::ReportTerminatedNormalFromProcMgr() {
    return Report(kRow, kPmExited);
}

AppChangeState StartingApplicationState::ReportTerminatedAbnormalFromProcMgr(uint32_t reason) {
    return Report(kRow, kPmFailed, reason);
}

AppChangeState StartingApplicationState::ReportRunningNormalStartFromApp() {
    return Report(kRow, kOwnReport);
}

}  // namespace ProcMgr
