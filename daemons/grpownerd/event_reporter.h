#pragma once

#include <memory>
#include <string>
#include <vector>

#include "client/event_numbers.h"
#include "daemons/grpownerd/worker.h"
#include "grpowner/enumerations.h"
#include "platform/manifest_service.h"

namespace GrpOwnerDaemon {

/// Tells the readers of the event queue what happens, one number for each event. Called on any
/// thread: a thread of its own reports, in order. Without a queue nothing is told.
class EventReporter {
public:
    using Kind = GrpOwnerClient::EventKind;

    /// Offers the queue. Moves the process's logging to syslog, for good. To be called before
    /// anything is told.
    /// @param name of the queue
    /// @param manifests number the applications from here on
    /// @return 0, or the platform's negative code
    int Open(const std::string& name, const std::vector<ApplicationManifest>& manifests);

    void TellState(Kind kind, int state);
    void TellApplication(Kind kind, const std::string& name);

private:
    void Tell(Kind kind, uint32_t number);

    std::vector<std::string> names_;  // of applications, by number; constant after Open
    std::unique_ptr<Worker> worker_;  // constant after Open
};

}  // namespace GrpOwnerDaemon
