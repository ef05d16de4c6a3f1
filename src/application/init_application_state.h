#pragma once

#include "src/application/application_state.h"

namespace ProcMgr {

/// Never started yet. The application's own word is believed even here: it may run already when the
/// group owner comes up.
class InitApplicationState : public ApplicationState {
public:
    explicit InitApplicationState(Application* application)
        : ApplicationState(AppStateType::INITSTATE, application) {}

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
