#include "daemons/procmgrd/spawner.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <new>
#include <system_error>

#include "daemons/procmgrd/child_setup.h"
#include "daemons/procmgrd/control_group.h"

namespace ProcMgrDaemon {

namespace {

constexpr size_t kStackSize = 64 * 1024;  // of a child, which calls little
constexpr int kExecTimeOut = 5000;        // milliseconds from the control group to the program

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

// Shared with children that have memory of their own, too.
ChildReport* MakeReport() {
    void* const memory = mmap(nullptr, sizeof(ChildReport), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "memory for children");
    }
    return new (memory) ChildReport;
}

void DropReport(ChildReport* report) {
    (void)munmap(report, sizeof(*report));  // cannot fail: it is ours
}

// Whether the other end was closed in time. Nobody writes to it.
bool HasEndedInTime(int stream) {
    pollfd end{stream, POLLIN, 0};
    return poll(&end, 1, kExecTimeOut) == 1;
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
      gatePlace_(Place(fcntl(null_.Get(), F_DUPFD_CLOEXEC, 0))),
      outputPlace_(Place(fcntl(null_.Get(), F_DUPFD_CLOEXEC, 0))),
      firstUnneeded_(std::max({null_.Get(), gatePlace_.Get(), outputPlace_.Get()}) + 1),
      stack_(std::make_unique<char[]>(kStackSize)),
      report_(MakeReport(), DropReport),
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
    Daemons::UniqueFd gateIn;
    ChildSetup setup;
    if (const int error = plan.controlGroup.empty() ? 0 : OpenGate(setup, gateIn)) {
        return error;
    }
    if (output >= 0 && !Put(output, outputPlace_)) {
        return errno;
    }
    const std::vector<char*> arguments = Pointers(plan.arguments);
    const std::vector<char*> environment = Pointers(plan.environment);
    const Processors processors = MakeProcessors(plan.processors, setup.processorsSize);
    setup.plan = &plan;
    setup.arguments = arguments.data();
    setup.environment = environment.data();
    setup.ignored = &ignoredSignals_;
    setup.parent = self_;
    setup.null = null_.Get();
    setup.report = report_.get();
    setup.output = output >= 0 ? outputPlace_.Get() : -1;
    setup.firstUnneeded = firstUnneeded_;
    setup.strict = isRoot_;
    setup.processors = processors.get();
    setup.openFiles = openFiles_;
    return MakeProgram(setup, spawned);
}

// Through it the child hears of its control group, and we hear from its end that exec has closed
// it.
int Spawner::OpenGate(ChildSetup& setup, Daemons::UniqueFd& gateIn) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return errno;
    }
    gateIn.Reset(ends[0]);
    const Daemons::UniqueFd gate(ends[1]);
    if (!Put(gate.Get(), gatePlace_)) {
        return errno;
    }
    setup.gate = gatePlace_.Get();
    setup.gateIn = gateIn.Get();
    return 0;
}

int Spawner::MakeProgram(ChildSetup& setup, Spawned& spawned) {
    report_->count = 0;
    const pid_t pid = MakeChild(setup);
    const int error = errno;
    if (setup.gate >= 0) {
        (void)Put(null_.Get(), gatePlace_);  // from here on it is the child's alone
    }
    if (pid < 0) {
        return error;
    }
    if (setup.gate >= 0) {
        const int bound = EnterControlGroup(pid, setup.plan->controlGroup);
        (void)send(setup.gateIn, &bound, sizeof(bound), MSG_NOSIGNAL);  // unless it has ended
        if (!HasEndedInTime(setup.gateIn)) {
            (void)kill(pid, SIGKILL);
            (void)waitpid(pid, nullptr, 0);
            return ETIMEDOUT;  // a control group that is frozen, for example
        }
    }
    const auto begin = report_->shortfalls.begin();
    spawned.shortfalls.assign(begin, begin + static_cast<std::ptrdiff_t>(report_->count));
    if (report_->count > 0 && spawned.shortfalls.back().isFatal) {
        (void)waitpid(pid, nullptr, 0);  // it is ending
        return spawned.shortfalls.back().error;
    }
    spawned.pid = pid;
    return 0;
}

}  // namespace ProcMgrDaemon
