#include "src/application/application_state.h"

#include <string_view>

#include "src/application/application.h"
#include "src/common/never_destroyed.h"
#include "src/trace/trace.h"

namespace ProcMgr {

namespace {

constexpr auto kIoFailureReason =
    static_cast<uint32_t>(Message::AppAbnormalExitReason::START_IO_FAILURE);

bool PrintsReason(const StateCell& cell) {
    const std::string_view text = cell.text;
    return !text.empty() && text.back() == '=';
}

}  // namespace

std::string ApplicationState::GetApplicationName() const {
    return Name();
}

const std::string& ApplicationState::Name() const {
    static NeverDestroyed<std::string> none;
    if (application_ == nullptr) {
        GRP_ERROR(
            "Application_state ::GetApplicationName() : curr state does not attach to  any "
            "application");
        return *none;
    }
    return application_->GetAppName();
}

bool ApplicationState::Command(const StateRow& row, StateOperation operation) {
    return Apply(row, operation, 0).accepted;
}

AppChangeState ApplicationState::Report(const StateRow& row, StateOperation operation,
                                        uint32_t reason) {
    return Apply(row, operation, reason).recorded;
}

StateResult ApplicationState::Apply(const StateRow& row, StateOperation operation,
                                    uint32_t reason) {
    const StateCell& cell = row.cells[static_cast<size_t>(operation)];
    const std::string& name = Name();
    GRPOWNER_LOG(cell.level, "%s appName:%s%s%s", row.className, name.c_str(), cell.text,
                 PrintsReason(cell) ? std::to_string(reason).c_str() : "");
    if (!Passes(cell.guard)) {
        if (cell.guard == StateGuard::kLimiter) {
            GRP_ERROR("%s Application:%s cannot restart.", row.className, name.c_str());
            return false;
        }
        return AppChangeState::PROCESSING;
    }
    if (cell.next) {
        MoveTo(*cell.next);
    }
    if (cell.guard == StateGuard::kPmReadyTold) {
        GRP_EVENT("%s appName:%s is running after receiving pm report.", row.className,
                  name.c_str());
    }
    if (cell.guard == StateGuard::kIoFailure && reason == kIoFailureReason) {
        return AppChangeState::START_FAILED_BY_EIO;
    }
    return cell.result;
}

bool ApplicationState::Passes(StateGuard guard) {
    const auto isReadyByItself = [this] {
        return application_ != nullptr &&
               (application_->GetIsRosNode() || application_->GetIsReporting());
    };
    switch (guard) {
        case StateGuard::kPmReady:
        case StateGuard::kPmReadyTold:
            return !isReadyByItself();
        case StateGuard::kOwnReady:
            return isReadyByItself();
        case StateGuard::kLimiter:
            return application_ != nullptr && application_->IsOkToRestart();
        case StateGuard::kAlways:
        case StateGuard::kIoFailure:
            break;
    }
    return true;
}

void ApplicationState::MoveTo(AppStateType next) {
    if (application_ != nullptr) {
        application_->SetAppState(application_->MapStateTypeToStatePointer(next));
        Trace::Transition(application_->GetAppName(), type_, next, application_->GetPid());
    }
}

}  // namespace ProcMgr
