#include "src/application/init_application_state.h"

namespace ProcMgr {

namespace {

using namespace StateTable;

// clang-format off
constexpr StateRow kRow{"InitApplicationState", {{
    {kStart,         true,       STARTING, kAlways, kInfo,    "  Start()"},
    {kTerm,          true,       kStays,   kAlways, kWarning, " Term, return."},
    {kRestart,       false,      kStays,   kAlways, kError,   " Restart, it's invalid operation."},
    {kPmStarted,     PROCESSING, kStays,   kAlways, kWarning, " ReportRunningNormalStartFromProcMgr"},
    {kPmTermTimeout, PROCESSING, kStays,   kAlways, kWarning, " ReportRunningAbnormalTermTimeoutFromProcMgr"},
    {kPmRestarted,   PROCESSING, kStays,   kAlways, kWarning, " ReportRunningNormalReStartFromProcMgr"},
    {kPmExited,      PROCESSING, kStays,   kAlways, kWarning, " ReportTerminatedNormalFromProcMgr"},
    {kPmFailed,      PROCESSING, kStays,   kAlways, kWarning, " ReportTerminatedAbnormalFromProcMgr, reason="},
    {kOwnReport,     SUCCESS,    RUNNING,  kAlways, kWarning, " ReportRunningNormalStartFromApp"},
}}};
// clang-format on
static_assert(IsInSlotOrder(kRow));

}  // namespace

bool InitApplicationState::Start() {
    return Command(kRow, kStart);
}

bool InitApplicationState::Term() {
    return Command(kRow, kTerm);
}

bool InitApplicationState::Restart() {
    return Command(kRow, kRestart);
}

AppChangeState InitApplicationState::ReportRunningNormalStartFromProcMgr() {
    return Report(kRow, kPmStarted);
}

AppChangeState InitApplicationState::ReportRunningAbnormalTermTimeoutFromProcMgr() {
    return Report(kRow, kPmTermTimeout);
}

AppChangeState InitApplicationState::ReportRunningNormalReStartFromProcMgr() {
    return Report(kRow, kPmRestarted);
}

AppChangeState InitApplicationState::ReportTerminatedNormalFromProcMgr() {
    return Report(kRow, kPmExited);
}

AppChangeState InitApplicationState::ReportTerminatedAbnormalFromProcMgr(uint32_t reason) {
    return Report(kRow, kPmFailed, reason);
}

AppChangeState InitApplicationState::ReportRunningNormalStartFromApp() {
    return Report(kRow, kOwnReport);
}

}  // namespace ProcMgr
