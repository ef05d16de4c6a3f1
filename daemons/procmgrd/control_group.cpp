#include "daemons/procmgrd/control_group.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cerrno>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/log.h"
#include "grpowner/cgroup_binding.h"

namespace ProcMgrDaemon {

namespace {

constexpr char kRoot[] = "/sys/fs/cgroup";

bool IsVersion2() {
    struct statfs info {};
    return statfs(kRoot, &info) == 0 && info.f_type == CGROUP2_SUPER_MAGIC;
}

int EnterVersion2(pid_t pid, const std::string& group) {
    const std::string path = std::string(kRoot) + "/" + group + "/cgroup.procs";
    const std::string text = std::to_string(pid);
    const Daemons::UniqueFd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file || write(file.Get(), text.data(), text.size()) < 0) {
        const int error = errno;
        LogError("cannot write " + path + ": " + ErrorText(error));
        return error;
    }
    return 0;
}

}  // namespace

int EnterControlGroup(pid_t pid, const std::string& group) {
    if (group.find("..") != std::string::npos) {
        LogError("control group `" + group + "` may not contain \"..\"");
        return EINVAL;
    }
    if (IsVersion2()) {
        return EnterVersion2(pid, group);
    }
    ProcMgr::CgroupInfo info;
    info.pid = pid;
    info.cpuMemGroup = group;
    std::string error;
    if (!ProcMgr::AddPidToCgroupTasks(info, error)) {
        LogError(error);
        return ENOENT;
    }
    return 0;
}

}  // namespace ProcMgrDaemon
