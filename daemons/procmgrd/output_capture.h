#pragma once

#include <cstddef>
#include <string>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/event_loop.h"

namespace ProcMgrDaemon {

struct CaptureOptions {
    size_t ringBytes = 64 * 1024;  // 0: applications write to the process manager's own streams
    std::string logDirectory;      // empty: no files
};

/// What one application writes to stdout and stderr: the newest bytes in a ring and, where a
/// directory is given, all of it in the file "<directory>/<name>.log".
/// The pipe stays from one process of the application to the next, and both its ends are held here,
/// so that what a forgotten grandchild still writes neither ends the pipe nor kills the writer.
class OutputCapture {
public:
    /// All of them outlive this object.
    OutputCapture(EventLoop& loop, const CaptureOptions& options, const std::string& name);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// What becomes stdout and stderr of the process; -1: those of the process manager.
    int WriteEnd() const { return writeEnd_.Get(); }

    /// Takes what is in the pipe now.
    void Drain();

    /// The newest lines of the ring, each indented, the last one without its line end.
    std::string LastLines(size_t lines) const;

    /// Opens the file anew, after it was moved away.
    void ReopenFile();

private:
    std::string FilePath() const;
    void Append(const char* data, size_t size);
    void WriteToFile(const char* data, size_t size);

    EventLoop& loop_;
    const CaptureOptions& options_;
    const std::string& name_;
    Daemons::UniqueFd readEnd_;
    Daemons::UniqueFd writeEnd_;
    Daemons::UniqueFd file_;
    std::string ring_;   // grows up to its limit, then wraps
    size_t oldest_ = 0;  // where the ring begins once it is full
};

}  // namespace ProcMgrDaemon
