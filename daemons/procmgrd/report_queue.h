#pragma once

#include <cstdint>
#include <deque>
#include <utility>

#include "daemons/procmgrd/pm_wire.h"

namespace ProcMgrDaemon {

/// Reports of one group on their way to its owner. They outlive connections: what one could not
/// take the next one gets. A report leaves only when it was handed to the socket.
class ReportQueue {
public:
    void Push(Report report) {
        reports_.push_back(std::move(report));
        ++pushed_;
    }
    void PopFront(size_t count) {
        reports_.erase(reports_.begin(), reports_.begin() + static_cast<std::ptrdiff_t>(count));
        popped_ += count;
    }
    void Clear() { PopFront(reports_.size()); }

    const std::deque<Report>& Reports() const { return reports_; }

    // Since the queue was made; an answer that must not overtake earlier reports compares them.
    uint64_t Pushed() const { return pushed_; }
    uint64_t Popped() const { return popped_; }

private:
    std::deque<Report> reports_;
    uint64_t pushed_ = 0;
    uint64_t popped_ = 0;
};

}  // namespace ProcMgrDaemon
