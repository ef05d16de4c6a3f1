#include "src/common/cgroup_tasks.h"

#include <unistd.h>

#include <fstream>

#include "src/common/process_constants.h"

namespace ProcMgr {

namespace {

bool IsBindable(const std::string& group) {
    return !group.empty() && group.find("..") == std::string::npos;
}

bool IsThere(const std::string& path, const char* kind, std::string& error) {
    if (access(path.c_str(), F_OK) == 0) {
        return true;
    }
    error +=
        std::string("add cgroup failed, ") + kind + " cgroup path=" + path + " is not existed;";
    return false;
}

// Failures are not seen here on purpose: the kernel may refuse a process that has ended meanwhile.
void Append(const std::string& path, int32_t pid) {
    std::ofstream(path, std::ios::app) << std::to_string(pid) << '\n' << std::flush;
}

bool BindCpuAndMemory(const CgroupRoots& roots, const CgroupInfo& info, std::string& error) {
    const std::string cpuTasks = roots.cpu + info.cpuMemGroup + "/tasks";
    const std::string memoryTasks = roots.memory + info.cpuMemGroup + "/tasks";
    // Both are looked at before either is written: a process is not bound by halves.
    if (!IsThere(cpuTasks, "cpu", error) || !IsThere(memoryTasks, "mem", error)) {
        return false;
    }
    Append(cpuTasks, info.pid);
    Append(memoryTasks, info.pid);
    return true;
}

bool BindCpuset(const CgroupRoots& roots, const CgroupInfo& info, std::string& error) {
    const std::string tasks = roots.cpuset + info.cpusetGroup + "/tasks";
    if (!IsThere(tasks, "cpuset", error)) {
        return false;
    }
    Append(tasks, info.pid);
    return true;
}

}  // namespace

bool AddPidToCgroupTasks(const CgroupRoots& roots, const CgroupInfo& info, std::string& error) {
    if (IsBindable(info.cpuMemGroup) && !BindCpuAndMemory(roots, info, error)) {
        return false;
    }
    return !IsBindable(info.cpusetGroup) || BindCpuset(roots, info, error);
}

bool AddPidToCgroupTasks(const CgroupInfo& info, std::string& error) {
    return AddPidToCgroupTasks({kCpuCgroupRoot, kMemoryCgroupRoot, kCpusetCgroupRoot}, info, error);
}

}  // namespace ProcMgr
