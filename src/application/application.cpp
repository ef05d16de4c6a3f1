#include "src/application/application.h"

#include <utility>

#include "src/application/application_state.h"
#include "src/application/init_application_state.h"
#include "src/application/restarting_application_state.h"
#include "src/application/running_application_state.h"
#include "src/application/starting_application_state.h"
#include "src/application/terminated_application_state.h"
#include "src/application/terminating_application_state.h"
#include "src/common/logging.h"
#include "src/common/restart_window.h"
#include "src/trace/trace.h"

namespace ProcMgr {

namespace {

constexpr char kOnForever[] = "on-forever";
constexpr char kOnFailure[] = "on-failure";

constexpr uint32_t kDetailStatusUnknown = 3;

const std::string& ToText(const std::string& value) {
    return value;
}

std::string ToText(uint32_t value) {
    return std::to_string(value);
}

/// Every entry with a blank in front.
template <typename Container>
std::string Listed(const Container& entries) {
    std::string list;
    for (const auto& entry : entries) {
        list += " " + ToText(entry);
    }
    return list;
}

}  // namespace

Application::Application(const ApplicationManifest& manifest, const std::string& name)
    : appName_(name.empty() ? manifest.GetAppName() : name),
      manifest_(manifest),
      detailStatus_(kDetailStatusUnknown),
      state_(std::make_shared<InitApplicationState>(this)) {}

// A state object knows its application by address, so the new record gets one of its own.
Application::Application(Application&& other)  // NOLINT(performance-noexcept-move-constructor)
    : appName_(other.appName_),
      manifest_(other.manifest_),
      pid_(other.pid_.load()),
      detailStatus_(other.detailStatus_.load()),
      state_(MapStateTypeToStatePointer(other.state_->GetStateType())),
      restartTimer_(std::move(other.restartTimer_)),
      restartCount_(other.restartCount_.load()),
      arguments_(std::move(other.arguments_)),
      dynamicParas_(std::move(other.dynamicParas_)) {}

Application::~Application() = default;

std::vector<std::string> Application::GetArguments() const {
    MutexLock lock(parameterMutex_);
    return arguments_ ? *arguments_ : manifest_.GetArguments();
}

void Application::SetArguments(const std::vector<std::string>& arguments) {
    MutexLock lock(parameterMutex_);
    if (arguments == manifest_.GetArguments()) {
        arguments_.reset();
    } else {
        arguments_ = arguments;
    }
}

DynamicParas Application::GetDynamicParas() const {
    MutexLock lock(parameterMutex_);
    return dynamicParas_;
}

void Application::SetDynamicParas(const DynamicParas& dynamicParas) {
    MutexLock lock(parameterMutex_);
    dynamicParas_ = dynamicParas;
}

AppStateType Application::StateTypeLocked() const {
    return state_->GetStateType();
}

AppStateType Application::GetAppStateType() const {
    MutexLock lock(mutex_);
    return StateTypeLocked();
}

bool Application::IsAppInitializing() const {
    return GetAppStateType() == AppStateType::INITSTATE;
}

bool Application::IsAppRunning() const {
    return GetAppStateType() == AppStateType::RUNNING;
}

bool Application::IsAppTerminated() const {
    return GetAppStateType() == AppStateType::TERMINATED;
}

// A transition drops the record's reference to the state object that is just running, so each
// forwarding operation holds one of its own.

bool Application::Start() {
    MutexLock lock(mutex_);
    const std::shared_ptr<ApplicationState> state = state_;
    return state->Start();
}

bool Application::Term() {
    AppStateType after{};
    return TermTo(after);
}

bool Application::TermTo(AppStateType& after) {
    MutexLock lock(mutex_);
    const std::shared_ptr<ApplicationState> state = state_;
    const bool isAccepted = state->Term();
    after = StateTypeLocked();
    return isAccepted;
}

bool Application::Restart() {
    MutexLock lock(mutex_);
    const std::shared_ptr<ApplicationState> state = state_;
    return state->Restart();
}

template <typename Report>
AppChangeState Application::ForwardReport(AppStateType& before, Report report) {
    MutexLock lock(mutex_);
    const std::shared_ptr<ApplicationState> state = state_;
    before = state->GetStateType();
    return report(*state);
}

AppChangeState Application::ReportRunningNormalStartFromProcMgr(AppStateType& before) {
    return ForwardReport(before, [](ApplicationState& state) {
        return state.ReportRunningNormalStartFromProcMgr();
    });
}

AppChangeState Application::ReportRunningAbnormalTermTimeoutFromProcMgr(AppStateType& before) {
    return ForwardReport(before, [](ApplicationState& state) {
        return state.ReportRunningAbnormalTermTimeoutFromProcMgr();
    });
}

AppChangeState Application::ReportRunningNormalReStartFromProcMgr(AppStateType& before) {
    return ForwardReport(before, [](ApplicationState& state) {
        return state.ReportRunningNormalReStartFromProcMgr();
    });
}

AppChangeState Application::ReportTerminatedNormalFromProcMgr(AppStateType& before) {
    return ForwardReport(
        before, [](ApplicationState& state) { return state.ReportTerminatedNormalFromProcMgr(); });
}

AppChangeState Application::ReportTerminatedAbnormalFromProcMgr(uint32_t reason,
                                                                AppStateType& before) {
    return ForwardReport(before, [reason](ApplicationState& state) {
        return state.ReportTerminatedAbnormalFromProcMgr(reason);
    });
}

AppChangeState Application::ReportRunningNormalStartFromApp(AppStateType& before) {
    return ForwardReport(
        before, [](ApplicationState& state) { return state.ReportRunningNormalStartFromApp(); });
}

bool Application::CanRestart() {
    return (manifest_.GetRestart() == kOnForever || manifest_.GetRestart() == kOnFailure) &&
           Restart();
}

// Its callers are state objects inside an operation that holds the mutex, out of the analysis'
// sight.
void Application::SetAppState(std::shared_ptr<ApplicationState> next) NO_THREAD_SAFETY_ANALYSIS {
    if (next == nullptr) {
        GRP_ERROR("Application::SetAppState: setting application %s 'state to NULL is invalid",
                  appName_.c_str());
        return;
    }
    state_ = std::move(next);
}

std::shared_ptr<ApplicationState> Application::MapStateTypeToStatePointer(AppStateType type) {
    switch (type) {
        case AppStateType::INITSTATE:
            return std::make_shared<InitApplicationState>(this);
        case AppStateType::RUNNING:
            return std::make_shared<RunningApplicationState>(this);
        case AppStateType::STARTING:
            return std::make_shared<StartingApplicationState>(this);
        case AppStateType::RESTARTING:
            return std::make_shared<RestartingApplicationState>(this);
        case AppStateType::TERMINATING:
            return std::make_shared<TerminatingApplicationState>(this);
        case AppStateType::TERMINATED:
            return std::make_shared<TerminatedApplicationState>(this);
    }
    GRP_ERROR("Application::MapStateTypeToStatePointer: failed to determine the state type: %d",
              static_cast<int>(type));
    return nullptr;
}

bool Application::CompareAndSetAppState(AppStateType expected, AppStateType next) {
    MutexLock lock(mutex_);
    if (StateTypeLocked() != expected) {
        return false;
    }
    std::shared_ptr<ApplicationState> state = MapStateTypeToStatePointer(next);
    if (state == nullptr) {
        GRP_ERROR(
            "Application::CompareAndSetAppState: the next state should not be null, old state type "
            "is %d; next state type is %d",
            static_cast<int>(expected), static_cast<int>(next));
        return false;
    }
    SetAppState(std::move(state));
    return true;
}

bool Application::CopyDynamicAttributeFromApp(const Application& other) {
    const AppStateType type = other.GetAppStateType();  // never two applications' locks at once
    std::shared_ptr<ApplicationState> state = MapStateTypeToStatePointer(type);
    if (state == nullptr) {
        GRP_ERROR(
            "Application::CopyDynamicAttributeFromApp: the next state should not be null.The "
            "original application is in state %d",
            static_cast<int>(type));
        return false;
    }
    {
        MutexLock lock(mutex_);
        SetAppState(std::move(state));
    }
    SetPid(other.GetPid());
    SetRestartCount(other.GetRestartCount());
    SetDetailStatus(other.GetDetailStatus());
    return true;
}

std::string Application::AppInfoToString() const {
    std::string text;
    const auto line = [&text](const char* key, const std::string& value) {
        text.append(" ").append(key).append(":").append(value).append("\n");
    };
    const auto flag = [](bool value) { return std::string(value ? "1" : "0"); };
    line("appName", appName_);
    line("binPath", manifest_.GetBinPath());
    line("uid", std::to_string(manifest_.GetUid()));
    line("gid", std::to_string(manifest_.GetGid()));
    line("restart", manifest_.GetRestart());
    line("isSo", flag(manifest_.GetIsSo()));
    line("pid", std::to_string(GetPid()));
    line("termTimeOut", std::to_string(manifest_.GetTermTimeOut()));
    line("isForceTerm", flag(manifest_.GetIsForceTerm()));
    line("isRosNode", flag(manifest_.GetIsRosNode()));
    line("isReporting", flag(manifest_.GetIsReporting()));
    line("resGroupName", manifest_.GetResGroupName());
    line("isAutoBoot", flag(manifest_.GetIsAutoBoot()));
    line("argument", Listed(GetArguments()));
    line("depends", Listed(manifest_.GetDependList()));
    line("coreAffinity", Listed(manifest_.GetCoreAffinity()));
    return text;
}

// The window is not sliding: it lasts from its first restart to the attempt after the fifth. That
// attempt closes it and is refused when it came too soon; the one after it opens a new window, so a
// refusal never blocks an application for good.
bool Application::IsOkToRestart() NO_THREAD_SAFETY_ANALYSIS {
    if (manifest_.GetRestart() == kOnForever) {
        Trace::Limiter(appName_, true, 0, 0);
        return true;
    }
    if (restartTimer_ == nullptr) {
        restartTimer_ = std::make_unique<DataMaster::Timer>();
    }
    if (!restartTimer_->IsRunning()) {
        SetRestartCount(1);
        restartTimer_->Start();
        Trace::Limiter(appName_, true, 1, 0);
        return true;
    }
    const uint32_t count = GetRestartCount();
    if (count < kRestartLimit) {
        SetRestartCount(count + 1);
        Trace::Limiter(appName_, true, count + 1, restartTimer_->ElapsedMilliseconds());
        return true;
    }
    restartTimer_->Stop();
    SetRestartCount(0);
    const int64_t elapsed = restartTimer_->ElapsedMilliseconds();
    Trace::Limiter(appName_, elapsed > kRestartWindow, 0, elapsed);
    if (elapsed <= kRestartWindow) {
        GRP_ERROR(
            "Cannot Restart appName:%s , because restart count(%u) is more than %u within "
            "%ld(window time:%ld)ms",
            appName_.c_str(), count, kRestartLimit, elapsed, kRestartWindow);
        return false;
    }
    GRP_WARNING("IsOkToRestart appName:%s elapseMillisecond:%ld restartCount_:%u", appName_.c_str(),
                elapsed, count);
    return true;
}

}  // namespace ProcMgr
