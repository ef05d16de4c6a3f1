#include "daemons/procmgrd/spawner.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <system_error>

#include "daemons/procmgrd/child_setup.h"
#include "daemons/procmgrd/control_group.h"

namespace ProcMgrDaemon {

namespace {

constexpr size_t kStackSize = 64 * 1024;  // of a child, which calls little

struct FreeProcessors {
    void operator()(cpu_set_t* set) const { CPU_FREE(set); }
};
using Processors = std::unique_ptr<cpu_set_t, FreeProcessors>;

Processors MakeProcessors(const std::vector<uint32_t>& numbers, size_t& size) {
    if (numbers.empty()) {
        return nullptr;
    }
    const size_t count = size_t{*std::max_element(numbers.begin(), numbers.end())} + 1;
    Processors set(CPU_ALLOC(count));
    size = CPU_ALLOC_SIZE(count);
    CPU_ZERO_S(size, set.get());
    for (const uint32_t number : numbers) {
        CPU_SET_S(number, size, set.get());
    }
    return set;
}

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        // execve wants it so, and does not write.
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

int MakePipe(Daemons::UniqueFd& readEnd, Daemons::UniqueFd& writeEnd) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return errno;
    }
    readEnd.Reset(ends[0]);
    writeEnd.Reset(ends[1]);
    return 0;
}

std::vector<int> IgnoredSignals() {
    std::vector<int> ignored;
    struct sigaction action {};
    for (int number = 1; number < NSIG; ++number) {
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            ignored.push_back(number);
        }
    }
    return ignored;
}

void ReadStatus(int pipe, std::vector<LaunchStatus>& shortfalls) {
    LaunchStatus status{};
    ssize_t count = 0;
    while ((count = read(pipe, &status, sizeof(status))) == sizeof(status) ||
           (count < 0 && errno == EINTR)) {
        if (count > 0) {
            shortfalls.push_back(status);
        }
    }
}

Daemons::UniqueFd Place(int descriptor) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "a descriptor for children");
    }
    return Daemons::UniqueFd(descriptor);
}

// What stands at a place is another file from here on; the place itself never gets free.
bool Put(int descriptor, const Daemons::UniqueFd& place) {
    return dup3(descriptor, place.Get(), O_CLOEXEC) >= 0;
}

rlimit RaiseOpenFileLimit() {
    rlimit before{};
    if (getrlimit(RLIMIT_NOFILE, &before) == 0) {
        const rlimit raised{before.rlim_max, before.rlim_max};
        (void)setrlimit(RLIMIT_NOFILE, &raised);  // then fewer applications have to do
    }
    return before;
}

}  // namespace

Spawner::Spawner()
    : null_(Place(open("/dev/null", O_RDWR | O_CLOEXEC))),
      statusPlace_(Place(fcntl(null_.Get(), F_DUPFD_CLOEXEC, 0))),
      outputPlace_(Place(fcntl(null_.Get(), F_DUPFD_CLOEXEC, 0))),
      firstUnneeded_(std::max({null_.Get(), statusPlace_.Get(), outputPlace_.Get()}) + 1),
      stack_(std::make_unique<char[]>(kStackSize)),
      openFiles_(RaiseOpenFileLimit()),
      ignoredSignals_(IgnoredSignals()) {}

// The parent waits until the child is the program or has ended. A child that has to be bound to a
// control group first needs a parent that goes on meanwhile, and so memory of its own.
pid_t Spawner::MakeChild(ChildSetup& setup) {
    if (setup.gate < 0) {
        return clone(BecomeProgram, stack_.get() + kStackSize,
                     CLONE_VM | CLONE_VFORK | CLONE_FILES | SIGCHLD, &setup);
    }
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(BecomeProgram(&setup));
    }
    return pid;
}

int Spawner::Spawn(const LaunchPlan& plan, int output, Spawned& spawned) {
    Daemons::UniqueFd statusOut;
    Daemons::UniqueFd statusIn;
    Daemons::UniqueFd gateOut;
    Daemons::UniqueFd gateIn;
    int error = MakePipe(statusOut, statusIn);
    if (error == 0 && !plan.controlGroup.empty()) {
        error = MakePipe(gateOut, gateIn);
    }
    if (error != 0) {
        return error;
    }
    if (!Put(statusIn.Get(), statusPlace_) || (output >= 0 && !Put(output, outputPlace_))) {
        return errno;
    }
    const std::vector<char*> arguments = Pointers(plan.arguments);
    const std::vector<char*> environment = Pointers(plan.environment);
    ChildSetup setup;
    const Processors processors = MakeProcessors(plan.processors, setup.processorsSize);
    setup.plan = &plan;
    setup.arguments = arguments.data();
    setup.environment = environment.data();
    setup.ignored = &ignoredSignals_;
    setup.parent = getpid();
    setup.null = null_.Get();
    setup.status = statusPlace_.Get();
    setup.gate = gateOut.Get();
    setup.gateIn = gateIn.Get();
    setup.output = output >= 0 ? outputPlace_.Get() : -1;
    setup.firstUnneeded = firstUnneeded_;
    setup.strict = geteuid() == 0;
    setup.processors = processors.get();
    setup.openFiles = openFiles_;

    const pid_t pid = MakeChild(setup);
    if (pid < 0) {
        return errno;
    }
    if (gateIn) {
        const int bound = EnterControlGroup(pid, plan.controlGroup);
        const ssize_t ignored = write(gateIn.Get(), &bound, sizeof(bound));
        (void)ignored;  // the child has ended; its status tells
    }
    // From here on the child alone has the end to write to.
    statusIn.Reset();
    (void)Put(null_.Get(), statusPlace_);  // cannot fail: both are open
    ReadStatus(statusOut.Get(), spawned.shortfalls);
    if (!spawned.shortfalls.empty() && spawned.shortfalls.back().fatal != 0) {
        (void)waitpid(pid, nullptr, 0);  // it is ending
        return spawned.shortfalls.back().error;
    }
    spawned.pid = pid;
    return 0;
}

}  // namespace ProcMgrDaemon
