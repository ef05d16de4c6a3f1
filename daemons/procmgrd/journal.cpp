#include "daemons/procmgrd/journal.h"

#include <utility>

namespace ProcMgrDaemon {

void Journal::Add(ProcessEvent event) {
    event.sequence = TakeSequence();
    events_.push_back(std::move(event));
    ++eventCount_;
    if (events_.size() > kMostEvents) {
        events_.pop_front();
    }
}

}  // namespace ProcMgrDaemon
