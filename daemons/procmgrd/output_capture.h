#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/output_log.h"
#include "daemons/procmgrd/outputs.h"

namespace ProcMgrDaemon {

/// What one application writes to stdout and stderr: the newest lines in memory and, where a
/// directory is given, all of it in the file "<directory>/<name>.log".
/// Both go through one pipe, which keeps their order. It stays from one process of the application
/// to the next, and both its ends are held here, so that what a forgotten grandchild still writes
/// neither ends it nor kills the writer.
class OutputCapture {
public:
    /// @param outputs outlive this object
    OutputCapture(Outputs& outputs, std::shared_ptr<const ApplicationId> application);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// What becomes stdout and stderr of a process; -1: it has the process manager's own.
    int WriteEnd() const { return writeEnd_.Get(); }

    /// Whose output it is from here on.
    void SetProcess(pid_t pid) { pid_ = pid; }

    /// Takes what is in the pipe now, as far as others need not wait for it.
    void Drain();

    /// The same; the process has ended.
    void Finish();

    /// The newest lines, each indented, the last one without its line end.
    std::string LastLines(size_t lines);

    /// Opens the file anew, after it was moved away.
    void ReopenFile();

    /// Nothing: no line has come, or none is kept.
    OutputLog* Log() { return log_ ? &*log_ : nullptr; }

private:
    void OpenPipe();
    std::string FilePath() const;
    void Take(std::string_view bytes);
    void WriteToFile(std::string_view bytes);

    Outputs& outputs_;
    const std::shared_ptr<const ApplicationId> application_;
    Daemons::UniqueFd readEnd_;
    Daemons::UniqueFd writeEnd_;
    Daemons::UniqueFd file_;
    std::unique_ptr<OutputLog> log_;  // since the first bytes
    pid_t pid_ = 0;
};

}  // namespace ProcMgrDaemon
