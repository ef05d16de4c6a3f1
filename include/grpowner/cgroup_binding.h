#pragma once
// Binding of a process to its control groups, for hosts that place processes themselves. The group
// owner does not call it.

#include <cstdint>
#include <string>

#include "grpowner/export.h"

namespace ProcMgr {

struct CgroupInfo {
    std::string label;  // not read
    int32_t pid = 0;
    std::string cpuMemGroup;  // below the cpu and the memory hierarchy; empty: not bound there
    std::string cpusetGroup;  // below the cpuset hierarchy; empty: not bound there
};

/// Appends the process to the "tasks" files of its control groups (version 1 hierarchies below
/// /sys/fs/cgroup). A group whose name contains ".." is skipped silently.
/// @param error gains a message for a "tasks" file that does not exist
/// @return false when such a file is missing; true otherwise, even when an existing file could not
///         be written
GRPOWNER_EXPORT bool AddPidToCgroupTasks(const CgroupInfo& info, std::string& error);

}  // namespace ProcMgr
