#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "daemons/grpownerd/event_reporter.h"
#include "daemons/grpownerd/group_view.h"
#include "daemons/grpownerd/options.h"
#include "daemons/grpownerd/self_commands.h"
#include "daemons/grpownerd/state_changer.h"
#include "daemons/grpownerd/worker.h"
#include "platform/linux/host.h"

namespace GrpOwnerDaemon {

/// What the host does about requests: it says who may make them, knows the system states, and makes
/// some itself, one after the other on a thread of its own. Used by the main thread unless a call
/// says otherwise.
class Requests {
public:
    Requests(const Options& options, const std::string& runDirectory,
             const GrpOwnerLinux::Configuration& configuration, StateTable states, GroupView& view);

    /// To be called before the owner is enabled.
    /// @return false when that failed, which has been said
    bool Prepare();

    /// To be called when the owner is enabled.
    /// @return false when requests cannot arrive although they should, which has been said
    bool CheckThatServed() const;

    /// From here on changes can succeed; on any thread.
    void BootIsOver();

    /// A system state is asked for; on any thread.
    /// @return whether it is known; it is not waited for
    bool SetSystemState(int state, int timeoutMs);

    void Reload();
    void Dump();

    /// @param done called on another thread when all applications have stopped, or could not be
    ///             stopped; never when no requests are served
    /// @return false when no requests are served
    bool StopAll(std::function<void()> done);

    EventReporter& Events() { return events_; }

private:
    bool AreServed(const char* what) const;
    void ReloadNow();
    std::vector<ApplicationManifest> Manifests();
    void StateEnded(int state, const std::string& trouble);

    const Options options_;
    GroupView& view_;
    std::vector<ApplicationManifest>
        manifests_;  // as last read; used by the state changer's thread
    EventReporter events_;
    const SelfCommands self_;
    StateChanger changer_;
    Worker commands_;
};

}  // namespace GrpOwnerDaemon
