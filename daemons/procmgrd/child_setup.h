#pragma once
// The child's side of a start, before exec.

#include <sched.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <cstddef>

#include "daemons/procmgrd/launch_plan.h"
#include "daemons/procmgrd/launch_status.h"

namespace ProcMgrDaemon {

/// All that the child needs, made ready before there is one: it may share its parent's memory, so
/// it only makes system calls and changes nothing.
struct ChildSetup {
    const LaunchPlan* plan = nullptr;
    char* const* arguments = nullptr;
    char* const* environment = nullptr;
    const std::vector<int>* ignored = nullptr;  // signals that exec would leave ignored
    pid_t parent = 0;
    int null = -1;    // /dev/null
    int gate = -1;    // an errno arrives here once it is bound to its control group; -1: none
    int gateIn = -1;  // the parent's end of it, to be closed: its end must be seen when it dies
    ChildReport* report = nullptr;
    int output = -1;
    int firstUnneeded = 0;  // from this descriptor on nothing is wanted
    bool strict = false;    // for root whatever fails makes the start fail, else most is a warning
    const cpu_set_t* processors = nullptr;
    size_t processorsSize = 0;
    rlimit openFiles{};
};

/// @param setup a ChildSetup
/// @return only when there is no program: what the child exits with
int BecomeProgram(void* setup);

}  // namespace ProcMgrDaemon
