#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "daemons/procmgrd/journal.h"
#include "daemons/procmgrd/output_ring.h"
#include "daemons/procmgrd/process_event.h"

namespace ProcMgrDaemon {

/// The output of one application, cut into lines, over all its processes.
class OutputLog {
public:
    /// @param journal outlives this object
    /// @param bytes how much of it is kept
    OutputLog(Journal& journal, std::shared_ptr<const ApplicationId> application, size_t bytes);
    ~OutputLog();
    OutputLog(const OutputLog&) = delete;
    OutputLog& operator=(const OutputLog&) = delete;

    /// Takes bytes that have come.
    void Take(std::string_view bytes, pid_t pid);

    /// A begun line counts as it is.
    /// @param goesOn more of it may come
    void EndLine(bool goesOn);

    /// The newest lines, each indented, the last one without its line end; fit for a terminal.
    std::string LastLines(size_t lines) const;

    const ApplicationId& Application() const { return *application_; }
    uint64_t Id() const { return id_; }
    const OutputRing& Ring() const { return ring_; }
    uint64_t LastSequence() const { return lastSequence_; }

private:
    void Push(std::string_view text, bool isCut, int64_t time, pid_t pid);
    void PushPieces(std::string_view& text, int64_t time, pid_t pid);

    Journal& journal_;
    const std::shared_ptr<const ApplicationId> application_;
    const Journal::Logs::iterator entry_;
    const uint64_t id_;  // of no other log, ever
    OutputRing ring_;
    std::string begun_;  // what has no line end yet
    pid_t begunBy_ = 0;
    uint64_t lastSequence_ = 0;
};

}  // namespace ProcMgrDaemon
