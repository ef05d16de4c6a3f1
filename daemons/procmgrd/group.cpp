#include "daemons/procmgrd/group.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "daemons/procmgrd/exit_reason.h"
#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

namespace {

// A name that nothing of ours can have, but which would fill a record of reports.
constexpr size_t kMaxName = 1024;

const char* StateText(Application::State state) {
    switch (state) {
        case Application::State::kDown:
            return "down";
        case Application::State::kRunning:
            return "running";
        case Application::State::kTerminating:
            return "terminating";
        case Application::State::kRestarting:
            return "restarting";
    }
    return "";
}

QueriedState ToQueried(Application::State state) {
    switch (state) {
        case Application::State::kDown:
            return QueriedState::kNotRunning;
        case Application::State::kRunning:
            return QueriedState::kRunning;
        default:
            return QueriedState::kInBetween;
    }
}

}  // namespace

Group::Group(Workplace& workplace, Faults& faults, std::string owner, ProcessHandler processHandler)
    : workplace_(workplace),
      faults_(faults),
      owner_(std::move(owner)),
      processHandler_(std::move(processHandler)) {}

Group::~Group() {
    for (const EventLoop::TimerId& id : delayed_) {
        workplace_.loop.Cancel(id);
    }
}

void Group::Configure(const std::vector<ApplicationManifest>& manifests) {
    std::set<std::string_view> configured;
    for (const ApplicationManifest& manifest : manifests) {
        configured.insert(manifest.GetAppName());
        auto& application = applications_[manifest.GetAppName()];
        if (application) {
            application->SetManifest(manifest);
        } else {
            application = std::make_unique<Application>(workplace_, *this, owner_, manifest);
        }
    }
    leftOver_.clear();
    for (auto entry = applications_.begin(); entry != applications_.end();) {
        const auto& [name, application] = *entry;
        const bool vanished = configured.count(name) == 0;
        const bool isDown = application->GetState() == Application::State::kDown;
        if (vanished && !isDown) {
            leftOver_.insert(name);
        }
        entry = vanished && isDown ? applications_.erase(entry) : std::next(entry);
    }
}

template <typename Act>
void Group::ForEach(const std::vector<LaunchRequest>& requests, Act act) {
    for (const LaunchRequest& request : requests) {
        const auto found = applications_.find(request.name);
        if (found != applications_.end() && !ending_) {
            act(*found->second, request);
            continue;
        }
        const int error = ending_ ? ESHUTDOWN : ENOENT;
        LogError(owner_ + ": cannot start `" + request.name + "`: " +
                 (ending_ ? "its group is ending"
                          : "the configuration of this owner has no such application"));
        OnReport({request.name, 0, ReportKind::kAbnormalExit,
                  kReasonStartFailure + static_cast<uint32_t>(error)});
    }
}

void Group::Start(const std::vector<LaunchRequest>& requests) {
    ForEach(requests, [](Application& application, const LaunchRequest& request) {
        application.Start(request);
    });
}

void Group::Restart(const std::vector<LaunchRequest>& requests) {
    ForEach(requests, [](Application& application, const LaunchRequest& request) {
        application.Restart(request);
    });
}

void Group::Terminate(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const auto found = applications_.find(name);
        if (found != applications_.end()) {
            found->second->Terminate();
        } else {
            OnReport({name, 0, ReportKind::kNormalExit, 0});  // what is not there does not run
        }
    }
}

std::vector<std::pair<std::string, QueriedState>> Group::Query(
    const std::vector<std::string>& names) const {
    std::vector<std::pair<std::string, QueriedState>> states;
    for (const std::string& name : names) {
        const auto found = applications_.find(name);
        states.emplace_back(name, found == applications_.end()
                                      ? QueriedState::kNotRunning
                                      : ToQueried(found->second->GetState()));
    }
    return states;
}

void Group::TellProcesses() const {
    for (const auto& [name, application] : applications_) {
        if (application->Pid() > 0 && name.size() <= kMaxName) {
            processHandler_(*application);
        }
    }
}

void Group::End() {
    ending_ = true;
    EndNext();
}

void Group::EndNext() {
    Depends depends;
    for (const auto& [name, application] : applications_) {
        depends[name] = application->Manifest().GetDependList();
    }
    for (const std::string& name : FreeToEnd(depends, Alive())) {
        applications_.at(name)->EndForGood();
    }
}

size_t Group::AliveCount() const {
    return static_cast<size_t>(std::count_if(
        applications_.begin(), applications_.end(),
        [](const auto& entry) { return entry.second->GetState() != Application::State::kDown; }));
}

std::set<std::string> Group::Alive() const {
    std::set<std::string> alive;
    for (const auto& [name, application] : applications_) {
        if (application->GetState() != Application::State::kDown) {
            alive.insert(name);
        }
    }
    return alive;
}

void Group::OnReport(const Report& report) {
    if (report.name.size() > kMaxName) {
        LogError(owner_ + ": a name of " + std::to_string(report.name.size()) +
                 " bytes cannot be reported on");
        return;
    }
    if (faults_.delayReports.count() == 0) {
        Deliver(report);
        return;
    }
    // All are held back equally long, so their order stays.
    const auto id = std::make_shared<EventLoop::TimerId>();
    *id = workplace_.loop.After(faults_.delayReports, [this, report, id] {
        delayed_.erase(*id);
        Deliver(report);
    });
    delayed_.insert(*id);
}

void Group::Deliver(const Report& report) {
    ++faults_.reportsSeen;
    if (faults_.reportsSeen == faults_.dieAtReport) {
        DieNow();
    }
    if (faults_.reportsSeen == faults_.dropReport) {
        return;
    }
    reports_.Push(report);
    if (faults_.reportsSeen == faults_.duplicateReport) {
        reports_.Push(report);
    }
}

void Group::OnProcess(const Application& application) {
    if (application.Name().size() <= kMaxName) {
        processHandler_(application);
    }
}

void Group::OnDown(Application& application) {
    const auto found = applications_.find(application.Name());
    if (leftOver_.erase(found->first) > 0) {
        applications_.erase(found);
    }
    if (ending_) {
        EndNext();
    }
}

std::string Group::Dump() {
    std::string text = "group " + owner_ + (ending_ ? ", ending" : "") + ", " +
                       std::to_string(reports_.Reports().size()) + " reports waiting";
    for (const auto& [name, application] : applications_) {
        text += "\n  " + name + " " + StateText(application->GetState());
        text += application->Pid() > 0 ? " pid " + std::to_string(application->Pid()) : "";
        const std::string lines =
            application->Output() ? application->Output()->LastLines(3) : std::string();
        text += lines.empty() ? "" : "\n" + lines;
    }
    return text;
}

void Group::ReopenLogFiles() {
    for (const auto& [name, application] : applications_) {
        if (application->Output()) {
            application->Output()->ReopenFile();
        }
    }
}

}  // namespace ProcMgrDaemon
