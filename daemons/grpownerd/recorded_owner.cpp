#include "daemons/grpownerd/recorded_owner.h"

#include <iterator>

#include "grpowner/schedule_observer.h"
#include "platform/linux/host.h"
#include "platform/portable/recording_fields.h"

namespace GrpOwnerDaemon {

namespace {

using GrpOwnerLinux::RecordedKind;
using GrpOwnerLinux::RecordEntry;
using GrpOwnerRecording::FieldWriter;
using ProcMgr::AppReportState;

std::chrono::steady_clock::time_point RecordStep(ProcMgr::ScheduleStep step) {
    constexpr char kLetters[] = {GrpOwnerLinux::kStepLocked, GrpOwnerLinux::kStepWoken,
                                 GrpOwnerLinux::kStepTimedOut, GrpOwnerLinux::kStepSlept,
                                 GrpOwnerLinux::kStepTimeRead};
    return GrpOwnerLinux::RecordStep(kLetters[static_cast<size_t>(step)]);
}

/// One call with its entries before and behind it.
template <typename Function>
auto Recorded(RecordedKind before, RecordedKind behind, const char* what, const FieldWriter& fields,
              Function function) {
    RecordEntry(before, what, fields.fields);
    const auto result = function();
    RecordEntry(behind, what, FieldWriter()(static_cast<int>(result)).fields);
    return result;
}

template <typename Function>
auto In(const char* what, const FieldWriter& fields, Function function) {
    return Recorded(RecordedKind::kIn, RecordedKind::kOut, what, fields, function);
}

template <typename Function>
auto Ask(const char* what, const FieldWriter& fields, Function function) {
    return Recorded(RecordedKind::kAsk, RecordedKind::kGot, what, fields, function);
}

ProcMgr::ProcMgrGrpOwner& MakeOwner() {
    ProcMgr::ProcMgrGrpOwner* owner = nullptr;
    (void)In("instance", {}, [&owner] {
        owner = &ProcMgr::ProcMgrGrpOwner::GetInstance();
        return 0;
    });
    return *owner;
}

}  // namespace

bool StartRecording(const std::string& path, std::string& error) {
    GrpOwnerLinux::SetThreadRole("host");
    const bool isStarted = GrpOwnerLinux::StartRecording(path, error);
    if (isStarted) {
        ProcMgr::ObserveSchedule(RecordStep);
    }
    return isStarted;
}

void EndRecording() {
    ProcMgr::ObserveSchedule(nullptr);
    GrpOwnerLinux::EndRecording();
}

void RecordTrace(size_t capacity) {
    (void)In("trace", FieldWriter()(capacity), [] { return 0; });
}

RecordedOwner::RecordedOwner() : owner_(MakeOwner()) {}

int RecordedOwner::GrpOwnerConfig(const ProcMgr::GrpOwnerCfg& cfg) {
    return In("config",
              FieldWriter()(cfg.startupEntry)(cfg.spareName)(cfg.ssResFileName)(cfg.enableEvent)(
                  cfg.enableSsServer)(cfg.logOutput),
              [&] { return owner_.GrpOwnerConfig(cfg); });
}

int RecordedOwner::GrpOwnerEnable() {
    return In("enable", {}, [this] { return owner_.GrpOwnerEnable(); });
}

int RecordedOwner::GrpOwnerDisable() {
    return In("disable", {}, [this] { return owner_.GrpOwnerDisable(); });
}

bool RecordedOwner::StartAutoStartApp() {
    GrpOwnerLinux::SetThreadRole("boot");
    return In("start-base", {}, [this] { return owner_.StartAutoStartApp(); });
}

bool RecordedOwner::CheckAppExisted(const std::string& name) const {
    return In("exists", FieldWriter()(name), [&] { return owner_.CheckAppExisted(name); });
}

int RecordedOwner::QueryAppInfo(const std::string& name, ProcMgr::ApplicationInfo& out) const {
    return In("info", FieldWriter()(name), [&] { return owner_.QueryAppInfo(name, out); });
}

int RecordedOwner::ReportAppStateFromApp(const std::string& name, int pid,
                                         AppReportState state) const {
    return In("app-report", FieldWriter()(name)(pid)(static_cast<uint32_t>(state)),
              [&] { return owner_.ReportAppStateFromApp(name, pid, state); });
}

int RecordedOwner::ReportEventFromApp(const unsigned char* data, unsigned int length) const {
    return In("app-event", FieldWriter().Bytes(data, length),
              [&] { return owner_.ReportEventFromApp(data, length); });
}

int RecordedOwner::SubscribeSystemState(const ProcMgr::SystemStateCallback& callback) {
    return In("subscribe-system", {}, [&] {
        return owner_.SubscribeSystemState([callback](int state, int timeout) {
            return Ask("system-state", FieldWriter()(state)(timeout),
                       [&] { return callback(state, timeout); });
        });
    });
}

int RecordedOwner::SubscribeAppState(const ProcMgr::AppStateCallback& callback) {
    return In("subscribe-app", {}, [&] {
        return owner_.SubscribeAppState(
            [callback](const std::string& name, int pid, AppReportState state) {
                return Ask("app-state", FieldWriter()(name)(pid)(static_cast<uint32_t>(state)),
                           [&] { return callback(name, pid, state); });
            });
    });
}

int RecordedOwner::ReportSelfStateToPm(bool ok) {
    return In("self-state", FieldWriter()(ok), [&] { return owner_.ReportSelfStateToPm(ok); });
}

int RecordedOwner::ChangeAppState(const std::vector<std::string>& term,
                                  const std::vector<std::string>& start,
                                  const std::vector<std::string>& restart,
                                  std::map<std::string, bool>& results) {
    return In("change", FieldWriter().List(term).List(start).List(restart),
              [&] { return owner_.ChangeAppState(term, start, restart, results); });
}

int RecordedOwner::GrpOwnerRestartApp(const std::string& name) {
    GrpOwnerLinux::SetThreadRole("restarts");
    return In("restart", FieldWriter()(name), [&] { return owner_.GrpOwnerRestartApp(name); });
}

}  // namespace GrpOwnerDaemon
