#pragma once

#include <sys/types.h>

#include <vector>

#include "daemons/procmgrd/launch_plan.h"
#include "daemons/procmgrd/launch_status.h"

namespace ProcMgrDaemon {

struct Spawned {
    pid_t pid = -1;                        // of the program; -1: there is none
    std::vector<LaunchStatus> shortfalls;  // what went wrong on the way; the fatal one is the last
};

/// Makes a child that becomes the program of the plan, and waits until it has. The child is killed
/// by the kernel when this process ends, however it ends; what the child forks itself is not.
/// @param output what becomes stdout and stderr; -1: our own
/// @return 0; or errno, when there could not even be a child or it could not become the program
int Spawn(const LaunchPlan& plan, int output, Spawned& spawned);

/// The limit of open files that children get back; to be told before ours is raised.
void RaiseOpenFileLimit();

}  // namespace ProcMgrDaemon
