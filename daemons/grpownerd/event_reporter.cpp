#include "daemons/grpownerd/event_reporter.h"

#include <syslog.h>

#include <algorithm>

#include "grpowner/ss_to_owner_server.h"

namespace GrpOwnerDaemon {

using GrpOwnerClient::kEventKindStep;
using GrpOwnerClient::kEventOther;

int EventReporter::Open(const std::string& name,
                        const std::vector<ApplicationManifest>& manifests) {
    for (const ApplicationManifest& manifest : manifests) {
        names_.push_back(manifest.GetAppName());
    }
    // The queue comes with syslog; whoever reads standard error is to see it nevertheless.
    openlog("grpownerd", LOG_PID | LOG_PERROR, LOG_DAEMON);  // keeps the pointer
    const int result = ProcMgr::SsToOwnerServer::GetInstance().InitSysEventServer(name);
    if (result >= 0) {
        worker_ = std::make_unique<Worker>();
    }
    return result;
}

void EventReporter::TellState(Kind kind, int state) {
    const bool hasNumber = state >= 0 && static_cast<uint32_t>(state) < kEventOther;
    Tell(kind, hasNumber ? static_cast<uint32_t>(state) : kEventOther);
}

void EventReporter::TellApplication(Kind kind, const std::string& name) {
    const auto found = std::find(names_.begin(), names_.end(), name);
    const auto number = static_cast<uint32_t>(found - names_.begin());
    Tell(kind, found == names_.end() ? kEventOther : std::min(number, kEventOther));
}

void EventReporter::Tell(Kind kind, uint32_t number) {
    if (!worker_) {
        return;
    }
    ProcMgr::SysEvent event;
    event.state = static_cast<uint32_t>(kind) * kEventKindStep + number;
    worker_->Do([event] {
        // A reader that cannot be reached is in the log already.
        (void)ProcMgr::SsToOwnerServer::GetInstance().ReportSysEvent(event);
    });
}

}  // namespace GrpOwnerDaemon
