#include "daemons/procmgrd/spawner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>

#include "daemons/common/unique_fd.h"
#include "daemons/procmgrd/child_setup.h"
#include "daemons/procmgrd/control_group.h"

namespace ProcMgrDaemon {

namespace {

rlimit childLimit{};

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

// Until exec parent and child share the memory, and the parent waits: nothing is copied, however
// much there is of it. A child that has to be bound to a control group first needs a parent that
// goes on meanwhile.
pid_t MakeChild(const ChildSetup& setup) {
    const pid_t pid = setup.gate < 0 ? vfork() : fork();
    if (pid == 0) {
        BecomeProgram(setup);
    }
    return pid;
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

}  // namespace

void RaiseOpenFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    childLimit = limit;
    limit.rlim_cur = limit.rlim_max;
    (void)setrlimit(RLIMIT_NOFILE, &limit);  // then fewer applications have to do
}

int Spawn(const LaunchPlan& plan, int output, Spawned& spawned) {
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
    const std::vector<char*> arguments = Pointers(plan.arguments);
    const std::vector<char*> environment = Pointers(plan.environment);
    // We ignore what we ignored at our start.
    static const std::vector<int> ignoredSignals = IgnoredSignals();
    ChildSetup setup;
    const Processors processors = MakeProcessors(plan.processors, setup.processorsSize);
    setup.plan = &plan;
    setup.arguments = arguments.data();
    setup.environment = environment.data();
    setup.ignored = &ignoredSignals;
    setup.parent = getpid();
    setup.status = statusIn.Get();
    setup.gate = gateOut.Get();
    setup.gateIn = gateIn.Get();
    setup.output = output;
    setup.strict = geteuid() == 0;
    setup.processors = processors.get();
    setup.openFiles = childLimit;

    const pid_t pid = MakeChild(setup);
    if (pid < 0) {
        return errno;
    }
    if (gateIn) {
        const int bound = EnterControlGroup(pid, plan.controlGroup);
        const ssize_t ignored = write(gateIn.Get(), &bound, sizeof(bound));
        (void)ignored;  // the child has ended; its status tells
    }
    statusIn.Reset();
    ReadStatus(statusOut.Get(), spawned.shortfalls);
    if (!spawned.shortfalls.empty() && spawned.shortfalls.back().fatal != 0) {
        (void)waitpid(pid, nullptr, 0);  // it is ending
        return spawned.shortfalls.back().error;
    }
    spawned.pid = pid;
    return 0;
}

}  // namespace ProcMgrDaemon
