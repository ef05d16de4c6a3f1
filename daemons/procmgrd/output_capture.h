#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/output_log.h"

namespace ProcMgrDaemon {

struct CaptureOptions {
    // Of one application; 0: applications write to the process manager's own streams.
    size_t ringBytes = 64 * 1024;
    size_t totalBytes = 8 * 1024 * 1024;
    std::string logDirectory;  // empty: no files
};

/// What one application writes to stdout and stderr: the newest lines in memory and, where a
/// directory is given, all of it in the file "<directory>/<name>.log".
/// Both go through one pipe, which keeps their order. It stays from one process of the application
/// to the next, and both its ends are held here, so that what a forgotten grandchild still writes
/// neither ends it nor kills the writer.
class OutputCapture {
public:
    /// Loop, options and journal outlive this object.
    OutputCapture(EventLoop& loop, const CaptureOptions& options, Journal& journal,
                  std::shared_ptr<const ApplicationId> application);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// What becomes stdout and stderr of a process; -1: it has the process manager's own.
    int WriteEnd() const { return writeEnd_.Get(); }

    /// Whose output it is from here on.
    void SetProcess(pid_t pid) { pid_ = pid; }

    /// Takes what is in the pipe now; the process has ended.
    void Finish();

    /// The newest lines, each indented, the last one without its line end.
    std::string LastLines(size_t lines);

    /// Opens the file anew, after it was moved away.
    void ReopenFile();

    /// Nothing: no line has come, or none is kept.
    OutputLog* Log() { return log_ ? &*log_ : nullptr; }

private:
    void OpenPipe();
    void Drain();
    std::string FilePath() const;
    void Take(std::string_view bytes);
    void WriteToFile(std::string_view bytes);

    EventLoop& loop_;
    const CaptureOptions& options_;
    Journal& journal_;
    const std::shared_ptr<const ApplicationId> application_;
    Daemons::UniqueFd readEnd_;
    Daemons::UniqueFd writeEnd_;
    Daemons::UniqueFd file_;
    std::unique_ptr<OutputLog> log_;  // since the first bytes
    pid_t pid_ = 0;
};

}  // namespace ProcMgrDaemon
