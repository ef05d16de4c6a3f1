#pragma once
// What an owner has done and does, from its trace, together with what the process manager has seen
// of the processes: one series of items for whoever shows it.

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/grpctl/trace/process_ends.h"
#include "client/grpctl/trace/trace_line.h"
#include "client/grpctl/typed/options.h"
#include "client/result.h"

namespace GrpCtl {

/// All that a trace tells at one time. Of a file: the last start of the owner in it.
struct Trace {
    TraceHello hello;
    std::vector<TraceState> states;      // at the step hello.next; none in a file
    std::deque<TraceStep> steps;         // by sequence
    std::deque<ProcessEvent> processes;  // of this owner's applications, by time
    bool hasProcesses = false;           // the process manager's side could be read
    uint64_t missed = 0;          // steps that are lost, in gaps or before the first one kept
    uint64_t unreadable = 0;      // lines that could not be read
    std::string firstUnreadable;  // and what is wrong with the first

    /// The step of that sequence; null when it is not kept.
    const TraceStep* At(uint64_t sequence) const;
};

/// Reads what there is: of the file that the options name, else of the running owner. Throws a
/// Failure.
Trace ReadTrace(const Options& options);

/// The same without the steps: only how things stand now. Nothing: nobody keeps a trace there.
std::optional<Trace> ReadSnapshot(const std::string& ownerSocket,
                                  std::chrono::milliseconds timeout);

/// Follows a running owner.
///
///     auto reader = TraceReader::Follow(options, -1);      // throws a Failure
///     while (true) {
///         const auto item = reader.Next(1h, interrupt.Descriptor());
///         if (!item) { ... item.GetError().kind, see Next() }
///         if (const auto* step = std::get_if<TraceStep>(&*item)) { ... }
///     }
class TraceReader {
public:
    /// @param from the first step that is wanted; 0: all that are kept; -1: only what comes. The
    ///        snapshot (a TraceHello, then a TraceState for each application) comes first anyhow.
    static TraceReader Follow(const Options& options, int64_t from);

    TraceReader(TraceReader&&) noexcept;
    TraceReader& operator=(TraceReader&&) noexcept;
    ~TraceReader();

    /// The next item: the owner's in their order, what the process manager says of its processes
    /// among them; a report of an end waits a moment for what the process manager says of it.
    /// Kinds of errors:
    ///   kTimeout, kInterrupted  none has come; a later call goes on
    ///   kMalformed              one line that cannot be read; a later call goes on
    ///   kUnreachable, others    the trace is over
    GrpOwnerClient::Result<TraceItem> Next(std::chrono::milliseconds timeout, int interruptFd = -1);

    /// How the processes of late have ended, as far as the process manager tells.
    const ProcessEnds& Ends() const;
    bool HasProcesses() const;

private:
    struct Streams;
    explicit TraceReader(std::unique_ptr<Streams> streams);

    std::unique_ptr<Streams> streams_;
};

}  // namespace GrpCtl
