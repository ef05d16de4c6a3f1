#pragma once

#include <sys/types.h>

#include <string>

namespace ProcMgrDaemon {

/// Puts a process into a control group below /sys/fs/cgroup: with version 1 into the group of this
/// name of the cpu and the memory hierarchy, with version 2 into the one group.
/// @return 0 or errno; what is wrong has been logged
int EnterControlGroup(pid_t pid, const std::string& group);

}  // namespace ProcMgrDaemon
