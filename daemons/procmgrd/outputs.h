#pragma once

#include <cstddef>
#include <string>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/journal.h"

namespace ProcMgrDaemon {

class OutputCapture;

struct CaptureOptions {
    // Of one application; 0: applications write to the process manager's own streams.
    size_t ringBytes = 64 * 1024;
    size_t totalBytes = 8 * 1024 * 1024;
    std::string logDirectory;  // empty: no files
};

/// What the captures of all applications share. Their pipes are watched by an epoll of their own
/// that names the captures themselves: to watch one that stays silent takes no memory here.
class Outputs {
public:
    /// All of them outlive this object, and this object all captures.
    Outputs(EventLoop& loop, const CaptureOptions& options, Journal& journal);
    ~Outputs();
    Outputs(const Outputs&) = delete;
    Outputs& operator=(const Outputs&) = delete;

    const CaptureOptions& Options() const { return options_; }
    Journal& GetJournal() { return journal_; }

    /// @return 0 or errno
    int Watch(int pipe, OutputCapture& capture);

    /// To be called before the pipe is closed.
    void Forget(int pipe);

private:
    void OnReady();

    EventLoop& loop_;
    const CaptureOptions& options_;
    Journal& journal_;
    Daemons::UniqueFd pipes_;
};

}  // namespace ProcMgrDaemon
