// Reading a start configuration, from the file to manifests without a finding.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "platform/linux/host.h"

namespace GrpOwnerBench {

namespace {

void Write(const char* path, int64_t applications) {
    std::ofstream text(path);
    text << "version: 1\napplications:\n";
    for (int64_t number = 0; number < applications; ++number) {
        text << "  app" << number << ":\n    command: [/opt/rover/app" << number
             << ", --verbose]\n    restart: on-failure\n    environment: {LEVEL: \"3\"}\n";
        if (number > 0) {
            text << "    depends_on: [app" << number - 1 << "]\n";
        }
    }
}

void Read(benchmark::State& state) {
    char path[] = "/tmp/micro_benchmark.XXXXXX";
    close(mkstemp(path));
    Write(path, state.range(0));
    for (auto iteration : state) {
        const auto configuration = GrpOwnerLinux::LoadConfiguration(path, {});
        if (configuration.manifests.size() != static_cast<size_t>(state.range(0))) {
            state.SkipWithError("the configuration is not read");
        }
    }
    unlink(path);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(Read)->Name("Yaml/read")->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace GrpOwnerBench
