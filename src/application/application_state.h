#pragma once

#include <cstdint>
#include <string>

#include "grpowner/enumerations.h"
#include "src/application/state_table.h"

namespace ProcMgr {

class Application;

/// What commands and reports mean for an application in one state. One object for each application,
/// replaced at every transition: INITSTATE -> STARTING -> RUNNING <-> RESTARTING, and from each of
/// the last three over TERMINATING, or by an exit at once, to TERMINATED, which may start again.
///
/// Owned by its application; the back pointer is plain. All operations run with the application's
/// mutex held and call back only into operations that do not take it. A transition frees the object
/// unless the caller holds a reference of its own.
class ApplicationState {
public:
    virtual ~ApplicationState() = default;
    ApplicationState(const ApplicationState&) = delete;
    ApplicationState& operator=(const ApplicationState&) = delete;

    // Commands: whether the command is accepted.
    virtual bool Start() = 0;
    virtual bool Term() = 0;
    virtual bool Restart() = 0;

    // Reports: the final result of the pending command, or PROCESSING: nothing to record.
    virtual AppChangeState ReportRunningNormalStartFromProcMgr() = 0;
    virtual AppChangeState ReportRunningAbnormalTermTimeoutFromProcMgr() = 0;
    virtual AppChangeState ReportRunningNormalReStartFromProcMgr() = 0;
    virtual AppChangeState ReportTerminatedNormalFromProcMgr() = 0;
    virtual AppChangeState ReportTerminatedAbnormalFromProcMgr(uint32_t reason) = 0;
    virtual AppChangeState ReportRunningNormalStartFromApp() = 0;

    AppStateType GetStateType() const { return type_; }

    /// Empty, with an error line, when no application is attached.
    std::string GetApplicationName() const;

protected:
    ApplicationState(AppStateType type, Application* application)
        : type_(type), application_(application) {}

    bool Command(const StateRow& row, StateOperation operation);
    AppChangeState Report(const StateRow& row, StateOperation operation, uint32_t reason = 0);

private:
    const std::string& Name() const;
    StateResult Apply(const StateRow& row, StateOperation operation, uint32_t reason);
    bool Passes(StateGuard guard);
    void MoveTo(AppStateType next);

    const AppStateType type_;
    Application* const application_;
};

}  // namespace ProcMgr
