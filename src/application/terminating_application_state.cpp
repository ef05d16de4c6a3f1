#include "src/application/terminating_application_state.h"

namespace ProcMgr {

namespace {

using namespace StateTable;

// clang-format off
constexpr StateRow kRow{"TerminatingApplicationState", {{
    {kStart,         false,       kStays,     kAlways, kError,   " Start, it's invalid operation."},
    {kTerm,          true,        kStays,     kAlways, kEvent,   " Term, continuing terminating."},
    {kRestart,       false,       kStays,     kAlways, kError,   " Restart, it's invalid operation."},
    {kPmStarted,     PROCESSING,  kStays,     kAlways, kWarning, " ReportRunningNormalStartFromProcMgr"},
    {kPmTermTimeout, TERM_FAILED, RUNNING,    kAlways, kInfo,    " ReportRunningAbnormalTermTimeoutFromProcMgr"},
    {kPmRestarted,   PROCESSING,  kStays,     kAlways, kWarning, " ReportRunningNormalReStartFromProcMgr"},
    {kPmExited,      SUCCESS,     TERMINATED, kAlways, kInfo,    " ReportTerminatedNormalFromProcMgr"},
    {kPmFailed,      SUCCESS,     TERMINATED, kAlways, kWarning, " ReportTerminatedAbnormalFromProcMgr, reason="},
    {kOwnReport,     PROCESSING,  kStays,     kAlways, kWarning, " ReportRunningNormalStartFromApp"},
}}};
// clang-format on
static_assert(IsInSlotOrder(kRow));

}  // namespace

bool TerminatingApplicationState::Start() {
    return Command(kRow, kStart);
}

bool TerminatingApplicationState::Term() {
    return Command(kRow, kTerm);
}

bool TerminatingApplicationState::Restart() {
    return Command(kRow, kRestart);
}

AppChangeState TerminatingApplicationState::ReportRunningNormalStartFromProcMgr() {
    return Report(kRow, kPmStarted);
}

AppChangeState TerminatingApplicationState::ReportRunningAbnormalTermTimeoutFromProcMgr() {
    return Report(kRow, kPmTermTimeout);
}

AppChangeState TerminatingApplicationState::ReportRunningNormalReStartFromProcMgr() {
    return Report(kRow, kPmRestarted);
}

AppChangeState TerminatingApplicationState::ReportTerminatedNormalFromProcMgr() {
    return Report(kRow, kPmExited);
}

AppChangeState TerminatingApplicationState::ReportTerminatedAbnormalFromProcMgr(uint32_t reason) {
    return Report(kRow, kPmFailed, reason);
}

AppChangeState TerminatingApplicationState::ReportRunningNormalStartFromApp() {
    return Report(kRow, kOwnReport);
}

}  // namespace ProcMgr
