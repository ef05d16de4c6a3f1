#pragma once

#include <sys/types.h>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/launch_plan.h"

namespace ProcMgrDaemon {

struct Spawned {
    pid_t pid = -1;
    Daemons::UniqueFd status;  // LaunchStatus records, then its end; never blocks
};

/// Makes the child that carries out the plan, without waiting for it to have done so. The child is
/// killed by the kernel when this process ends, however it ends; what the child forks itself is
/// not.
/// @param output what becomes stdout and stderr; -1: our own
/// @return 0 or errno
int Spawn(const LaunchPlan& plan, int output, Spawned& spawned);

/// The limit of open files that children get back; to be told before ours is raised.
void RaiseOpenFileLimit();

}  // namespace ProcMgrDaemon
