#pragma once

#include "src/application/application_state.h"

namespace ProcMgr {

/// Up. An exit here belongs to no batch: the restart policy deals with it.
class RunningApplicationState : public ApplicationState {
public:
    explicit RunningApplicationState(Application* application)
        : ApplicationState(AppStateType::RUNNING, application) {}

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
