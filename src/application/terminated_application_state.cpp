#include "src/application/terminated_application_state.h"

namespace ProcMgr {

namespace {

using namespace StateTable;

// clang-format off
constexpr StateRow kRow{"TerminatedApplicationState", {{
    {kStart,         true,       STARTING,   kAlways,  kInfo,    " Start"},
    {kTerm,          true,       kStays,     kAlways,  kWarning,
     " Term, it's duplicate operation, but we return true, should mark the operation"
     " success directly"},
    {kRestart,       true,       RESTARTING, kLimiter, kInfo,    " Restart"},
    {kPmStarted,     PROCESSING, kStays,     kAlways,  kWarning, " ReportRunningNormalStartFromProcMgr"},
    {kPmTermTimeout, PROCESSING, kStays,     kAlways,  kWarning, " ReportRunningAbnormalTermTimeoutFromProcMgr"},
    {kPmRestarted,   PROCESSING, kStays,     kAlways,  kWarning, " ReportRunningNormalReStartFromProcMgr"},
    {kPmExited,      PROCESSING, kStays,     kAlways,  kWarning, " ReportTerminatedNormalFromProcMgr"},
    {kPmFailed,      PROCESSING, kStays,     kAlways,  kWarning, " ReportTerminatedAbnormalFromProcMgr, reason="},
    {kOwnReport,     PROCESSING, kStays,     kAlways,  kWarning, " ReportRunningNormalStartFromApp"},
}}};
// clang-format on
static_assert(IsInSlotOrder(kRow));

}  // namespace

bool TerminatedApplicationState::Start() {
    return Command(kRow, kStart);
}

bool TerminatedApplicationState::Term() {
    return Command(kRow, kTerm);
}

bool TerminatedApplicationState::Restart() {
    return Command(kRow, kRestart);
}

AppChangeState TerminatedApplicationState::ReportRunningNormalStartFromProcMgr() {
    return Report(kRow, kPmStarted);
}

AppChangeState TerminatedApplicationState::ReportRunningAbnormalTermTimeoutFromProcMgr() {
    return Report(kRow, kPmTermTimeout);
}

AppChangeState TerminatedApplicationState::ReportRunningNormalReStartFromProcMgr() {
    return Report(kRow, kPmRestarted);
}

AppChangeState TerminatedApplicationState::ReportTerminatedNormalFromProcMgr() {
    return Report(kRow, kPmExited);
}

AppChangeState TerminatedApplicationState::ReportTerminatedAbnormalFromProcMgr(uint32_t reason) {
    return Report(kRow, kPmFailed, reason);
}

AppChangeState TerminatedApplicationState::ReportRunningNormalStartFromApp() {
    return Report(kRow, kOwnReport);
}

}  // namespace ProcMgr
