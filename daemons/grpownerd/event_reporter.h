#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "daemons/grpownerd/worker.h"
#include "grpowner/enumerations.h"
#include "platform/manifest_service.h"

namespace GrpOwnerDaemon {

/// Tells the readers of the event queue what happens. A reader gets one number for each event: its
/// kind times ten thousand, plus the system state or the application's place in the start
/// configuration, counted from 0. Called on any thread: a thread of its own reports, in order.
/// Without a queue nothing is told.
class EventReporter {
public:
    /// The numbers are documented: never change them.
    enum class Kind : uint32_t {
        kStateAccepted = 1,
        kStateReached = 2,
        kStateFailed = 3,
        kCrashed = 4,
        kHeartBeatLost = 5,
        kHeartBeatBack = 6,
    };

    explicit EventReporter(const std::vector<ApplicationManifest>& manifests);

    /// Offers the queue. Moves the process's logging to syslog, for good. To be called before
    /// anything is told.
    /// @param name of the queue and in the log; must live as long as the process
    /// @return 0, or the platform's negative code
    int Open(const std::string& name);

    void TellState(Kind kind, int state);
    void TellApplication(Kind kind, const std::string& name);

private:
    void Tell(Kind kind, uint32_t number);

    std::map<std::string, uint32_t> numbers_;  // of applications; constant after construction
    std::unique_ptr<Worker> worker_;           // constant after Open
};

}  // namespace GrpOwnerDaemon
