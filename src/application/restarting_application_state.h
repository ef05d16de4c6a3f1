#pragma once

#include "src/application/application_state.h"

namespace ProcMgr {

/// A restart request was sent.
class RestartingApplicationState : public ApplicationState {
public:
    explicit RestartingApplicationState(Application* application)
        : ApplicationState(AppStateType::RESTARTING, application) {}

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
