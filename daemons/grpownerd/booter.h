#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "daemons/grpownerd/group_view.h"
#include "grpowner/procmgr_grp_owner.h"

namespace GrpOwnerDaemon {

/// Starts the base applications on a thread of its own, because that waits. When some of them come
/// up only after the start's time-out, it starts again, for as long as that brings progress: what
/// depends on the late ones can go now.
class Booter {
public:
    /// @param afterFirst called when the first start has returned, whatever its result
    Booter(ProcMgr::ProcMgrGrpOwner& owner, GroupView& view,
           std::function<void(bool isAllUp)> afterFirst);

    /// Ends the waiting for progress. False while a start is still waiting for applications: the
    /// library cannot be interrupted then.
    bool Stop();

private:
    void Run();

    ProcMgr::ProcMgrGrpOwner& owner_;
    GroupView& view_;
    const std::function<void(bool)> afterFirst_;
    std::atomic<bool> isStarting_{true};
    std::thread thread_;  // the last member: it uses the others
};

}  // namespace GrpOwnerDaemon
