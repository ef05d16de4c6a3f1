#pragma once

#include <cstdint>
#include <string>

namespace GrpOwnerDaemon {

/// One reader's way through the owner's trace, as lines of JSON (docs/trace.md tells what is in
/// them). Nothing waits for a reader: what has gone from the ring before it came by is told as a
/// gap. For one thread.
class TraceLines {
public:
    /// The snapshot.
    /// @param from the first step wanted; 0: all that are kept; negative: only what comes
    std::string Begin(const std::string& owner, int64_t from);

    /// The steps that have come since, some hundred of them at most; empty when there are none.
    std::string Next();

    /// The last lines have not arrived anywhere: the next ones begin with them, if they are still
    /// there then.
    void TakeBack() { next_ = before_; }

    /// Waits for a step, one second at most; false when none has come.
    bool Wait() const;

    /// Waits for a second, whatever comes.
    static void Pause();

    /// What ends the lines of a reader that does not follow.
    std::string End() const;

private:
    uint64_t next_ = 1;  // the step that the reader has not seen
    uint64_t before_ = 1;
};

}  // namespace GrpOwnerDaemon
