#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "daemons/common/unique_fd.h"
#include "daemons/grpownerd/trace_lines.h"

namespace GrpOwnerDaemon {

/// Appends the owner's trace to a file, on a thread of its own. What cannot be written is tried
/// again each second; what has gone from the ring meanwhile is told there as a gap.
class TraceFile {
public:
    /// Throws std::system_error when the file cannot be opened.
    TraceFile(const std::string& path, std::string owner);
    /// Writes what there is.
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

private:
    void Run();
    bool WriteWhatHasCome();
    bool Write(const std::string& text);

    const std::string path_;
    const std::string owner_;
    const Daemons::UniqueFd file_;
    TraceLines lines_;
    bool isTold_ = false;
    std::atomic<bool> isEnding_{false};
    std::thread thread_;  // the last member: it uses the others
};

}  // namespace GrpOwnerDaemon
