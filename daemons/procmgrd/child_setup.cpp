#include "daemons/procmgrd/child_setup.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace ProcMgrDaemon {

namespace {

// Low among the real-time priorities: above all ordinary work, below the kernel's own threads.
constexpr int kRealTimePriority = 10;

constexpr int kNoProgram = 127;  // exit status, as a shell's

void Tell(const ChildSetup& setup, LaunchStep step, int error, bool fatal) {
    ChildReport& report = *setup.report;
    if (report.count < report.shortfalls.size()) {
        report.shortfalls[report.count++] = {step, error, fatal};
    }
    if (fatal) {
        _exit(kNoProgram);
    }
}

void Must(const ChildSetup& setup, LaunchStep step, bool done) {
    if (!done) {
        Tell(setup, step, errno, true);
    }
}

void Should(const ChildSetup& setup, LaunchStep step, bool done) {
    if (!done) {
        Tell(setup, step, errno, setup.strict);
    }
}

void ResetSignals(const ChildSetup& setup) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (const int number : *setup.ignored) {
        (void)sigaction(number, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
}

void WaitForControlGroup(const ChildSetup& setup) {
    if (setup.gate < 0) {
        return;
    }
    int error = 0;
    (void)close(setup.gateIn);
    if (read(setup.gate, &error, sizeof(error)) != sizeof(error)) {
        error = EIO;
    }
    errno = error;
    Should(setup, LaunchStep::kControlGroup, error == 0);
}

// Until here the table of descriptors may be the parent's. What it inherited itself without knowing
// goes no further either.
void LeaveDescriptors(const ChildSetup& setup) {
    const auto first = static_cast<unsigned>(setup.firstUnneeded);
    if (syscall(SYS_close_range, first, ~0U, CLOSE_RANGE_UNSHARE) != 0) {
        Must(setup, LaunchStep::kStreams, unshare(CLONE_FILES) == 0);  // an older kernel
    }
    (void)syscall(SYS_close_range, 3U, first - 1, CLOSE_RANGE_CLOEXEC);
}

void SetStreams(const ChildSetup& setup) {
    Must(setup, LaunchStep::kStreams, dup2(setup.null, STDIN_FILENO) >= 0);
    if (setup.output >= 0) {
        Must(setup, LaunchStep::kStreams,
             dup2(setup.output, STDOUT_FILENO) >= 0 && dup2(setup.output, STDERR_FILENO) >= 0);
    }
}

// The kernel's own calls: the C library's would have other threads follow, by memory that is the
// parent's.
void ChangeIdentity(const ChildSetup& setup) {
    const Identity& identity = setup.plan->identity;
    if (identity.groups) {
        Must(setup, LaunchStep::kIdentity,
             syscall(SYS_setgroups, identity.groups->size(), identity.groups->data()) == 0);
    }
    if (identity.gid) {
        const gid_t gid = *identity.gid;
        Must(setup, LaunchStep::kIdentity, syscall(SYS_setresgid, gid, gid, gid) == 0);
    }
    if (identity.uid) {
        const uid_t uid = *identity.uid;
        Must(setup, LaunchStep::kIdentity, syscall(SYS_setresuid, uid, uid, uid) == 0);
    }
}

// A change of user forgets the death signal, so it is asked for afterwards. A parent that ended
// before it was asked for would go unnoticed: hence the look at who the parent is.
void DieWithParent(const ChildSetup& setup) {
    Must(setup, LaunchStep::kParent, prctl(PR_SET_PDEATHSIG, SIGKILL) == 0);
    if (getppid() != setup.parent) {
        _exit(kNoProgram);
    }
}

}  // namespace

int BecomeProgram(void* given) {
    const ChildSetup& setup = *static_cast<const ChildSetup*>(given);
    (void)setpgid(0, 0);
    ResetSignals(setup);
    WaitForControlGroup(setup);
    LeaveDescriptors(setup);
    SetStreams(setup);
    (void)umask(022);
    Must(setup, LaunchStep::kStreams, chdir("/") == 0);
    if (setup.openFiles.rlim_max > 0) {
        (void)setrlimit(RLIMIT_NOFILE, &setup.openFiles);
    }
    if (setup.processors != nullptr) {
        Should(setup, LaunchStep::kAffinity,
               sched_setaffinity(0, setup.processorsSize, setup.processors) == 0);
    }
    if (setup.plan->realTime) {
        const sched_param priority{kRealTimePriority};
        Should(setup, LaunchStep::kPriority, sched_setscheduler(0, SCHED_FIFO, &priority) == 0);
    }
    ChangeIdentity(setup);
    DieWithParent(setup);
    execve(setup.plan->path.c_str(), setup.arguments, setup.environment);
    Tell(setup, LaunchStep::kExec, errno, true);
    return kNoProgram;
}

}  // namespace ProcMgrDaemon
