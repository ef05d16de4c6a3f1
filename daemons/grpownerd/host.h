#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "daemons/common/supervisor.h"
#include "daemons/common/unique_fd.h"
#include "daemons/grpownerd/booter.h"
#include "daemons/grpownerd/group_view.h"
#include "daemons/grpownerd/notify_inbox.h"
#include "daemons/grpownerd/notify_socket.h"
#include "daemons/grpownerd/options.h"
#include "daemons/grpownerd/recorded_owner.h"
#include "daemons/grpownerd/requests.h"
#include "daemons/grpownerd/trace_file.h"
#include "daemons/grpownerd/worker.h"
#include "grpowner/procmgr_grp_owner.h"
#include "platform/linux/host.h"

namespace GrpOwnerDaemon {

/// The host daemon: loads the group owner and serves signals and the applications' reports in one
/// loop on the main thread, while the boot runs beside it.
class Host {
public:
    /// To be made before any thread: blocks the signals that it serves.
    Host(const Options& options, const std::string& runDirectory,
         const GrpOwnerLinux::Configuration& configuration, StateTable states);

    /// Runs until all is stopped after a signal, or until the process manager ends.
    /// @return the exit code
    int Run();

private:
    void BeginTrace();
    bool Enable();
    int Loop();
    /// @return true when the loop is to end
    bool HandleSignals();
    bool BeginEnd();
    int End(int exitCode);
    void OnPipeEnd(const std::string& reason);
    bool OnAppState(const std::string& name, int pid, ProcMgr::AppReportState state);
    void OnNotify(const NotifySender& sender, const NotifyMessage& message);

    const Options options_;
    const std::string runDirectory_;
    std::unique_ptr<RecordedOwner> recordedOwner_;  // null: nobody records
    ProcMgr::ProcMgrGrpOwner& owner_;
    Daemons::Supervisor supervisor_;
    Daemons::UniqueFd signals_;
    Daemons::UniqueFd pipeEnd_;       // readable when the pipe to the process manager has ended
    Daemons::UniqueFd processBegun_;  // readable when a message in the inbox may have a sender
    Daemons::UniqueFd allStopped_;    // readable when the end may come
    std::atomic<bool> isEnding_{false};
    std::mutex reasonMutex_;
    std::string pipeEndReason_;  // guarded by reasonMutex_
    GroupView view_;
    Requests requests_;
    Worker restarts_;
    NotifyInbox inbox_;
    NotifySocket notify_;
    std::unique_ptr<TraceFile> traceFile_;
    std::unique_ptr<Booter> booter_;
};

}  // namespace GrpOwnerDaemon
