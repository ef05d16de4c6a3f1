#pragma once

#include "src/application/application_state.h"

namespace ProcMgr {

/// Down. A restart from here goes through the limiter just as from running.
class TerminatedApplicationState : public ApplicationState {
public:
    explicit TerminatedApplicationState(Application* application)
        : ApplicationState(AppStateType::TERMINATED, application) {}

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
