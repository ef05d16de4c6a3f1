#pragma once

#include "grpowner/cgroup_binding.h"

namespace ProcMgr {

/// Where the hierarchies are mounted; each ends in a slash.
struct CgroupRoots {
    std::string cpu;
    std::string memory;
    std::string cpuset;
};

/// AddPidToCgroupTasks below other roots than the system's.
bool AddPidToCgroupTasks(const CgroupRoots& roots, const CgroupInfo& info, std::string& error);

}  // namespace ProcMgr
