#pragma once
// What observers may ask for: the newest events of processes and the newest output. Nothing is put
// into words before somebody asks.

#include <chrono>
#include <cstdint>
#include <deque>
#include <list>

#include "daemons/procmgrd/output_ring.h"
#include "daemons/procmgrd/process_event.h"

namespace ProcMgrDaemon {

class OutputLog;

/// Nanoseconds of the monotonic clock.
inline int64_t Nanoseconds(std::chrono::steady_clock::time_point time) {
    return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

/// Gives events and lines of output one order, by sequence numbers from 1, and keeps the newest
/// events of all groups. Of the logs of output it knows which has got something last.
class Journal {
public:
    static constexpr size_t kMostEvents = 4096;

    /// @param outputBytes of all logs together
    explicit Journal(size_t outputBytes) : budget_{static_cast<int64_t>(outputBytes)} {}

    uint64_t TakeSequence() { return next_++; }
    uint64_t NextSequence() const { return next_; }

    void Add(ProcessEvent event);

    // Events are numbered from 0.
    uint64_t FirstEvent() const { return eventCount_ - events_.size(); }
    uint64_t EndEvent() const { return eventCount_; }
    const ProcessEvent& EventAt(uint64_t number) const { return events_[number - FirstEvent()]; }

    /// The logs, the one with the newest line first.
    using Logs = std::list<OutputLog*>;
    const Logs& GetLogs() const { return logs_; }

    // For the logs themselves.
    OutputBudget& Budget() { return budget_; }
    Logs::iterator Enter(OutputLog& log) { return logs_.insert(logs_.end(), &log); }
    void Leave(Logs::iterator log) { logs_.erase(log); }
    void PutFirst(Logs::iterator log) { logs_.splice(logs_.begin(), logs_, log); }

private:
    uint64_t next_ = 1;
    uint64_t eventCount_ = 0;
    std::deque<ProcessEvent> events_;
    OutputBudget budget_;
    Logs logs_;
};

}  // namespace ProcMgrDaemon
