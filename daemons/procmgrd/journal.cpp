#include "daemons/procmgrd/journal.h"

#include <utility>

namespace ProcMgrDaemon {

void Journal::Add(ProcessEvent event) {
    event.sequence = TakeSequence();
    if (events_.size() < kMostEvents) {
        events_.push_back(std::move(event));
    } else {
        events_[eventCount_ % kMostEvents] = std::move(event);
    }
    ++eventCount_;
}

}  // namespace ProcMgrDaemon
