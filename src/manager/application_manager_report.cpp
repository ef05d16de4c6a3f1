// Results and reports: from a report through the state machine to the batch that waits.

#include <utility>

#include "src/agent/procmgr_agent.h"
#include "src/common/logging.h"
#include "src/manager/application_manager.h"
#include "src/trace/trace.h"

namespace ProcMgr {

void ApplicationManager::ReportTermAppResult(const std::string& name, AppChangeState state) {
    GRP_WARNING("ApplicationManager: ReportTermAppResult: appName=%s,status=%s.", name.c_str(),
                GetAppState(static_cast<uint64_t>(state)).c_str());
    term_.Report(name, state);
}

void ApplicationManager::ReportRestartAppResult(const std::string& name, AppChangeState state) {
    GRP_WARNING("ApplicationManager: ReportRestartAppResult appName=%s,status=%s.", name.c_str(),
                GetAppState(static_cast<uint64_t>(state)).c_str());
    restart_.Report(name, state);
}

void ApplicationManager::ReportAppResult(const std::string& name, AppChangeState state,
                                         AppStateType before) {
    // A start batch may wait for an application that it does not start itself; the end of one that
    // ran is nobody's result, but ends that wait too.
    if (state != AppChangeState::PROCESSING || before == AppStateType::RUNNING) {
        baseStart_.NoteMoved(name);
        changeStart_.NoteMoved(name);
    }
    if (state == AppChangeState::PROCESSING) {
        return;
    }
    switch (before) {
        case AppStateType::INITSTATE:
        case AppStateType::STARTING:
            ReportStartAppResult(name, state);
            break;
        case AppStateType::RESTARTING:
            baseStart_.NoteMovedOtherwise(name);
            changeStart_.NoteMovedOtherwise(name);
            ReportRestartAppResult(name, state);
            break;
        case AppStateType::TERMINATING:
            baseStart_.NoteMovedOtherwise(name);
            changeStart_.NoteMovedOtherwise(name);
            ReportTermAppResult(name, state);
            break;
        case AppStateType::RUNNING:
        case AppStateType::TERMINATED:
            break;
    }
}

// Look-up and transition are one critical section, so that no reload can come between them; the
// batches are told after it.
template <typename Report>
void ApplicationManager::ApplyReport(const std::string& name, Report report) {
    AppStateType before = AppStateType::INITSTATE;
    AppChangeState result = AppChangeState::PROCESSING;
    {
        MutexLock lock(mutex_);
        const auto application = FindLocked(name);
        if (application == nullptr) {
            GRP_WARNING("ApplicationManager: FindApplication %s (no application found).",
                        name.c_str());
            return;
        }
        result = report(*application, before);
    }
    ReportAppResult(name, result, before);
}

void ApplicationManager::ReportRunningNormalStartFromProcMgr(const std::string& name,
                                                             uint32_t pid) {
    ApplyReport(name, [pid](Application& application, AppStateType& before) {
        application.SetPid(static_cast<int32_t>(pid));
        return application.ReportRunningNormalStartFromProcMgr(before);
    });
}

void ApplicationManager::ReportRunningNormalReStartFromProcMgr(const std::string& name,
                                                               uint32_t pid) {
    ApplyReport(name, [pid](Application& application, AppStateType& before) {
        application.SetPid(static_cast<int32_t>(pid));
        return application.ReportRunningNormalReStartFromProcMgr(before);
    });
}

void ApplicationManager::ReportRunningAbnormalTermTimeoutFromProcMgr(const std::string& name) {
    ApplyReport(name, [](Application& application, AppStateType& before) {
        return application.ReportRunningAbnormalTermTimeoutFromProcMgr(before);
    });
}

void ApplicationManager::ReportTerminatedNormalFromProcMgr(const std::string& name) {
    ApplyReport(name, [](Application& application, AppStateType& before) {
        return application.ReportTerminatedNormalFromProcMgr(before);
    });
}

void ApplicationManager::ReportTerminatedAbnormalFromProcMgr(
    const std::string& name, Message::AppAbnormalExitReason reason) {
    ApplyReport(name, [&](Application& application, AppStateType& before) REQUIRES(mutex_) {
        const auto result =
            application.ReportTerminatedAbnormalFromProcMgr(static_cast<uint32_t>(reason), before);
        endBeingHandled_[name] = before == AppStateType::TERMINATING;
        return result;
    });
}

void ApplicationManager::ReportRunningNormalStartFromApp(const std::string& name) {
    ApplyReport(name, [](Application& application, AppStateType& before) {
        return application.ReportRunningNormalStartFromApp(before);
    });
}

void ApplicationManager::CheckAndRestartApp(const std::string& name) {
    Message::RestartAppInfo info;
    {
        MutexLock lock(mutex_);
        const auto end = endBeingHandled_.extract(name);
        // One that has ended for good may still be here, for the running change set alone.
        const auto application = HasEndedForGoodLocked(name) ? nullptr : FindLocked(name);
        if (application == nullptr) {
            GRP_WARNING("ApplicationManager: FindApplication %s (no application found).",
                        name.c_str());
            GRP_ERROR("ApplicationManager: SetTermedState %s (no application found, skip it).",
                      name.c_str());
            return;
        }
        // A crash that crosses a termination is the end that was wanted.
        if ((!end.empty() && end.mapped()) || !application->CanRestart()) {
            GRP_INFO("ApplicationManager: don't need restart %s. (restart=%s)", name.c_str(),
                     application->GetRestart().c_str());
            return;
        }
        info = {name, application->GetArguments(), application->GetDynamicParas()};
        beingSent_.insert(name);
    }
    GRP_INFO("ApplicationManager: restart %s", name.c_str());
    GRP_WARNING("RestartApps add %s to restartAppList", name.c_str());
    GRP_WARNING("ApplicationManager: RestartApps emAgent RestartApp begin.");
    const std::vector<Message::RestartAppInfo> toSend{std::move(info)};
    Trace::Sent(OptionType::RESTART, toSend);
    const uint32_t result = ProcMgrAgent::GetInstance().RestartApp(toSend);
    Trace::NotSent(OptionType::RESTART, toSend, result);
    GRP_WARNING("ApplicationManager: RestartApps emAgent RestartApp end. (return=%u)", result);
    EndSend({name});
}

}  // namespace ProcMgr
