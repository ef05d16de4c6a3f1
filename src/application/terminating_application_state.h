#pragma once

#include "src/application/application_state.h"

namespace ProcMgr {

/// A terminate request was sent. Asking again is fine, and a termination that timed out brings the
/// application back to running.
class TerminatingApplicationState : public ApplicationState {
public:
    explicit TerminatingApplicationState(Application* application)
        : ApplicationState(AppStateType::TERMINATING, application) {}

    bool Start() override;
    bool Term() override;
    bool Restart() override;
    AppChangeState ReportRunningNormalStartFromProcMgr() override;
    AppChangeState ReportRunningAbnormalTermTimeoutFromProcMgr() override;
    AppChangeState ReportRunningNormalReStartFromProcMgr() override;
    AppChangeState ReportTerminatedNormalFromProcMgr() override;
    AppChangeState ReportTerminatedAbnormalFromProcMgr(uint32_t reason) override;
    AppChangeState ReportRunningNormalStartFromApp() override;
};

}  // namespace ProcMgr
