// The floor: what the kernel takes to start and stop a group, and nothing else. One thread, vfork
// and exec in dependency order, readiness over one pipe, ends by waitpid.
//
//   floor PLAN STAMPS PROGRAM
//
// PLAN has a line for each application: how many it depends on, then their numbers, all smaller
// than its own. An application is started when all that it depends on are ready, and terminated
// when all that depend on it have exited. When the group is up, orders come on standard input; each
// is answered by "<begin> <end>" in nanoseconds of the monotonic clock:
//
//   crash          wait until one application has ended, start it again, wait until it is ready
//   replace FIRST  terminate the applications from FIRST on, then start them again
//   stop           terminate all, then leave

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/system/stamps.h"

struct Application {
    uint32_t* needs;
    uint32_t* neededBy;
    uint32_t needCount;
    uint32_t neededByCount;
    uint32_t waitsFor;  // how many of the one kind or the other
    pid_t pid;
};

static struct Application* applications;
static uint32_t count;
static char** argumentsOfAll;  // program, stamps, slot for each
static char** childEnvironment;
static int readyPipe[2];
static uint32_t* slotOfPid;  // by pid
static const pid_t kMostPids = 1 << 22;

static void Die(const char* what) {
    perror(what);
    exit(1);
}

static void* Allocate(size_t number, size_t size) {
    void* const memory = calloc(number > 0 ? number : 1, size);
    if (memory == NULL) {
        Die("calloc");
    }
    return memory;
}

static void AddNeededBy(uint32_t dependency, uint32_t dependant) {
    struct Application* const one = &applications[dependency];
    // Grows at powers of two.
    if ((one->neededByCount & (one->neededByCount - 1)) == 0) {
        const size_t room = one->neededByCount == 0 ? 1 : 2 * (size_t)one->neededByCount;
        one->neededBy = realloc(one->neededBy, room * sizeof(uint32_t));
        if (one->neededBy == NULL) {
            Die("realloc");
        }
    }
    one->neededBy[one->neededByCount++] = dependant;
}

static void ReadPlan(const char* path) {
    FILE* const file = fopen(path, "r");
    if (file == NULL || fscanf(file, "%u", &count) != 1) {
        Die(path);
    }
    applications = Allocate(count, sizeof(*applications));
    for (uint32_t number = 0; number < count; ++number) {
        struct Application* const one = &applications[number];
        if (fscanf(file, "%u", &one->needCount) != 1) {
            Die(path);
        }
        one->needs = Allocate(one->needCount, sizeof(uint32_t));
        for (uint32_t place = 0; place < one->needCount; ++place) {
            if (fscanf(file, "%u", &one->needs[place]) != 1 || one->needs[place] >= number) {
                Die(path);
            }
            AddNeededBy(one->needs[place], number);
        }
    }
    fclose(file);
}

static void PrepareArguments(char* stamps, char* program) {
    argumentsOfAll = Allocate((size_t)count * 4, sizeof(char*));
    for (uint32_t number = 0; number < count; ++number) {
        char** const arguments = &argumentsOfAll[(size_t)number * 4];
        arguments[0] = program;
        arguments[1] = stamps;
        arguments[2] = Allocate(12, 1);
        snprintf(arguments[2], 12, "%u", number);
    }
    childEnvironment = Allocate(2, sizeof(char*));
    childEnvironment[0] = Allocate(32, 1);
    snprintf(childEnvironment[0], 32, "READY_FD=%d", readyPipe[1]);
}

static void Spawn(uint32_t number) {
    char** const arguments = &argumentsOfAll[(size_t)number * 4];
    const pid_t pid = vfork();
    if (pid == 0) {
        execve(arguments[0], arguments, childEnvironment);
        _exit(127);
    }
    if (pid < 0) {
        Die("vfork");
    }
    applications[number].pid = pid;
    slotOfPid[pid] = number;
}

// What is ready meanwhile comes in one read.
static uint32_t ReadReady(uint32_t* numbers, uint32_t most) {
    const ssize_t size = read(readyPipe[0], numbers, most * sizeof(*numbers));
    if (size <= 0 || size % (ssize_t)sizeof(*numbers) != 0) {
        Die("read");
    }
    return (uint32_t)size / sizeof(*numbers);
}

/// Those from `first` on; whatever they need below that runs.
static void StartFrom(uint32_t first) {
    uint32_t left = count - first;
    for (uint32_t number = first; number < count; ++number) {
        struct Application* const one = &applications[number];
        one->waitsFor = 0;
        for (uint32_t place = 0; place < one->needCount; ++place) {
            one->waitsFor += one->needs[place] >= first ? 1 : 0;
        }
    }
    for (uint32_t number = first; number < count; ++number) {
        if (applications[number].waitsFor == 0 && applications[number].pid == 0) {
            Spawn(number);
        }
    }
    while (left > 0) {
        uint32_t ready[256];
        const uint32_t some = ReadReady(ready, 256);
        for (uint32_t place = 0; place < some; ++place) {
            const struct Application* const one = &applications[ready[place]];
            for (uint32_t other = 0; other < one->neededByCount; ++other) {
                if (--applications[one->neededBy[other]].waitsFor == 0) {
                    Spawn(one->neededBy[other]);
                }
            }
        }
        left -= some;
    }
}

/// The number of the one that has ended.
static uint32_t WaitForEnd(void) {
    const pid_t pid = waitpid(-1, NULL, 0);
    if (pid <= 0 || pid >= kMostPids) {
        Die("waitpid");
    }
    const uint32_t number = slotOfPid[pid];
    applications[number].pid = 0;
    return number;
}

/// Those from `first` on: nobody below depends on them.
static void StopFrom(uint32_t first) {
    uint32_t left = count - first;
    for (uint32_t number = first; number < count; ++number) {
        applications[number].waitsFor = applications[number].neededByCount;
    }
    for (uint32_t number = count; number-- > first;) {
        if (applications[number].waitsFor == 0) {
            kill(applications[number].pid, SIGTERM);
        }
    }
    for (; left > 0; --left) {
        const struct Application* const one = &applications[WaitForEnd()];
        for (uint32_t place = 0; place < one->needCount; ++place) {
            const uint32_t number = one->needs[place];
            if (number >= first && --applications[number].waitsFor == 0) {
                kill(applications[number].pid, SIGTERM);
            }
        }
    }
}

static void BringBack(void) {
    Spawn(WaitForEnd());
    uint32_t ready = 0;
    (void)ReadReady(&ready, 1);
}

static void Answer(uint64_t begin) {
    printf("%llu %llu\n", (unsigned long long)begin, (unsigned long long)Now());
    fflush(stdout);
}

static void Serve(void) {
    char line[64];
    while (fgets(line, sizeof(line), stdin) != NULL) {
        const uint64_t begin = Now();
        uint32_t first = 0;
        if (strcmp(line, "crash\n") == 0) {
            BringBack();
        } else if (sscanf(line, "replace %u", &first) == 1 && first < count) {
            StopFrom(first);
            StartFrom(first);
        } else if (strcmp(line, "stop\n") == 0) {
            StopFrom(0);
            Answer(begin);
            return;
        } else {
            fprintf(stderr, "floor: what is %s", line);
            exit(1);
        }
        Answer(begin);
    }
}

int main(int argc, char** argv) {
    const uint64_t begin = Now();
    if (argc != 4) {
        fputs("usage: floor PLAN STAMPS PROGRAM\n", stderr);
        return 2;
    }
    if (pipe(readyPipe) != 0) {
        Die("pipe");
    }
    fcntl(readyPipe[0], F_SETFD, FD_CLOEXEC);
    // Pages that no pid falls into are never touched.
    slotOfPid = Allocate((size_t)kMostPids, sizeof(*slotOfPid));
    ReadPlan(argv[1]);
    PrepareArguments(argv[2], argv[3]);
    StartFrom(0);
    Answer(begin);
    Serve();
    return 0;
}
