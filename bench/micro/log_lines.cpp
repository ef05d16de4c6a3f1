// One line of the log, wanted and not, through the product's own log service: what it costs the
// owner when standard error is thrown away.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "src/common/logging.h"

namespace GrpOwnerBench {

namespace {

void Off(benchmark::State& state) {
    setenv("GRPOWNER_LOG_LEVEL", "event", 1);
    for (auto iteration : state) {
        GRP_INFO("ApplicationManager: restart %s", "camera");
    }
    state.SetItemsProcessed(state.iterations());
}

void On(benchmark::State& state) {
    const int before = dup(STDERR_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    for (auto iteration : state) {
        GRP_EVENT("Receive app state from pm. (appName=%s,state=%s,pid=%u)", "camera",
                  "RUNNING_NORMAL_START", 4711U);
    }
    dup2(before, STDERR_FILENO);
    close(nowhere);
    close(before);
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(Off)->Name("Log/off");
BENCHMARK(On)->Name("Log/on");

}  // namespace

}  // namespace GrpOwnerBench
