#include "client/grpctl/trace/process_ends.h"

#include <cstring>

#include "daemons/procmgrd/exit_reason.h"

namespace GrpCtl {

void ProcessEnds::Add(const ProcessEvent& event) {
    constexpr size_t kMost = 8192;
    if (event.kind != ProcessEvent::Kind::kExited && event.kind != ProcessEvent::Kind::kFailed) {
        return;
    }
    Key key{event.application, event.pid};
    if (ends_.insert_or_assign(key, event).second) {
        order_.push_back(std::move(key));
    }
    if (order_.size() > kMost) {
        ends_.erase(order_.front());
        order_.pop_front();
    }
}

const ProcessEvent* ProcessEnds::Find(const std::string& application, int pid) const {
    const auto end = ends_.find({application, pid});
    return end == ends_.end() ? nullptr : &end->second;
}

std::optional<ProcessEvent> EndByReason(const TraceStep& report) {
    ProcessEvent end;
    end.kind = ProcessEvent::Kind::kExited;
    end.application = report.application;
    end.pid = report.pid;
    end.time = report.time;
    const uint32_t reason = report.reason;
    if (reason > ProcMgrDaemon::kReasonStatus && reason < ProcMgrDaemon::kReasonSignal) {
        end.status = static_cast<int>(reason - ProcMgrDaemon::kReasonStatus);
    } else if (reason > ProcMgrDaemon::kReasonSignal &&
               reason < ProcMgrDaemon::kReasonStartFailure) {
        end.signal = static_cast<int>(reason - ProcMgrDaemon::kReasonSignal);
    } else if (report.report != ProcMgr::Message::ReportAppStateType::TERMINATED_NORMAL_EXIT) {
        return std::nullopt;
    }
    return end;
}

std::string NameOfSignal(int number) {
    const char* const name = sigabbrev_np(number);
    return name == nullptr ? "signal " + std::to_string(number) : std::string("SIG") + name;
}

std::string WordsOf(const ProcessEvent& end) {
    if (end.kind == ProcessEvent::Kind::kFailed) {
        return "could not " + end.text;
    }
    if (end.signal == 0) {
        return "exit status " + std::to_string(end.status);
    }
    return NameOfSignal(end.signal) + (end.hasCore ? ", core dumped" : "");
}

}  // namespace GrpCtl
