#pragma once

#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/launch_plan.h"
#include "daemons/procmgrd/launch_status.h"

namespace ProcMgrDaemon {

struct ChildSetup;

struct Spawned {
    pid_t pid = -1;                        // of the program; -1: there is none
    std::vector<LaunchStatus> shortfalls;  // what went wrong on the way; the fatal one is the last
};

/// Makes children. A child shares its parent's memory and descriptors until it becomes the program,
/// so that a start costs the same however large the group is: of the descriptors it keeps only what
/// stands below a certain number, and all that it needs is put there.
class Spawner {
public:
    /// Raises our own limit of open files as far as it goes; children get the one that we had. What
    /// signals we ignore by now is not handed on either. Throws std::system_error.
    Spawner();

    /// Makes a child that becomes the program of the plan, and waits until it has. The child is
    /// killed by the kernel when this process ends, however it ends; what the child forks itself is
    /// not.
    /// @param output what becomes stdout and stderr; -1: our own
    /// @return 0; or errno, when there could not even be a child or it could not become the program
    int Spawn(const LaunchPlan& plan, int output, Spawned& spawned);

private:
    pid_t MakeChild(ChildSetup& setup);
    int MakeProgram(ChildSetup& setup, Spawned& spawned);
    int OpenGate(ChildSetup& setup, Daemons::UniqueFd& gateIn);

    Daemons::UniqueFd null_;
    Daemons::UniqueFd gatePlace_;
    Daemons::UniqueFd outputPlace_;
    int firstUnneeded_;
    std::unique_ptr<char[]> stack_;
    std::unique_ptr<ChildReport, void (*)(ChildReport*)> report_;
    rlimit openFiles_{};
    std::vector<int> ignoredSignals_;
    // They stay, and each look would be a call of the system for each start.
    const pid_t self_ = getpid();
    const bool isRoot_ = geteuid() == 0;
};

}  // namespace ProcMgrDaemon
