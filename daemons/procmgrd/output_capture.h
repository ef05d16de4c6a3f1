#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"
#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/output_ends.h"
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
/// The pipes stay from one process of the application to the next, and both their ends are held
/// here, so that what a forgotten grandchild still writes neither ends a pipe nor kills the writer.
class OutputCapture {
public:
    /// Loop, options and journal outlive this object.
    OutputCapture(EventLoop& loop, const CaptureOptions& options, Journal& journal,
                  std::shared_ptr<const ApplicationId> application);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    OutputEnds WriteEnds() const { return {pipes_[0].writeEnd.Get(), pipes_[1].writeEnd.Get()}; }

    /// Whose output it is from here on.
    void SetProcess(pid_t pid) { pid_ = pid; }

    /// Takes what is in the pipes now; the process has ended.
    void Finish();

    /// The newest lines, each indented, the last one without its line end.
    std::string LastLines(size_t lines);

    /// Opens the file anew, after it was moved away.
    void ReopenFile();

    /// Nothing: no line has come, or none is kept.
    OutputLog* Log() { return log_ ? &*log_ : nullptr; }

private:
    struct Pipe {
        Daemons::UniqueFd readEnd;
        Daemons::UniqueFd writeEnd;
    };

    void Open(OutputStream stream);
    void Drain(OutputStream stream);
    std::string FilePath() const;
    void Take(OutputStream stream, std::string_view bytes);
    void WriteToFile(std::string_view bytes);

    EventLoop& loop_;
    const CaptureOptions& options_;
    Journal& journal_;
    const std::shared_ptr<const ApplicationId> application_;
    std::array<Pipe, 2> pipes_;  // by stream
    Daemons::UniqueFd file_;
    std::unique_ptr<OutputLog> log_;  // since the first bytes
    pid_t pid_ = 0;
};

}  // namespace ProcMgrDaemon
