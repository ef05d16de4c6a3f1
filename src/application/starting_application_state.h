#pragma once

#include "src/application/application_state.h"

namespace ProcMgr {

/// A start request was sent; nothing is known to run yet.
class StartingApplicationState : public ApplicationState {
public:
    explicit StartingApplicationState(Application* application)
        : ApplicationState(AppStateType::STARTING, application) {}

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
