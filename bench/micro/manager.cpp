// The manager with its batches, the state machine, the coordinator and the agent, against a process
// manager that answers at once.

#include <benchmark/benchmark.h>

#include "bench/micro/group.h"
#include "bench/micro/instant_pm.h"
#include "platform/memory/memory_platform.h"
#include "src/manager/application_manager.h"

namespace GrpOwnerBench {

namespace {

AppList NeedApps(const char* shape, benchmark::State& state) {
    NeedGroup();
    return Apps(shape, static_cast<size_t>(state.range(0)));
}

void Count(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Start(benchmark::State& state, const char* shape) {
    const AppList apps = NeedApps(shape, state);
    for (auto iteration : state) {
        state.SetIterationTime(Change({}, apps, {}));
        Change(apps, {}, {});
    }
    Count(state);
}

/// @param answered how many of a request's applications terminate at once; the others are offered
///        and sent again at each result
void Stop(benchmark::State& state, const char* shape, size_t answered) {
    const AppList apps = NeedApps(shape, state);
    for (auto iteration : state) {
        AnswerAtOnce(kGroupSize);
        Change({}, apps, {});
        AnswerAtOnce(answered);
        state.SetIterationTime(Change(apps, {}, {}));
    }
    Count(state);
}

/// Each report wakes the start, which then looks at all that are free. What counts is CPU time.
void StartOneByOne(benchmark::State& state) {
    const AppList apps = NeedApps("wide", state);
    for (auto iteration : state) {
        AnswerOneByOne();
        Change({}, apps, {});
        state.PauseTiming();
        AnswerAtOnce(kGroupSize);
        Change(apps, {}, {});
        state.ResumeTiming();
    }
    Count(state);
}

void Restart(benchmark::State& state) {
    const AppList apps = NeedApps("wide", state);
    Change({}, apps, {});
    for (auto iteration : state) {
        state.SetIterationTime(Change({}, {}, apps));
    }
    Change(apps, {}, {});
    Count(state);
}

/// Reports of starts: from the pipe to the start batch that a change set has left behind.
void Report(benchmark::State& state) {
    const AppList apps = NeedApps("wide", state);
    std::vector<std::string_view> names;
    for (const auto& app : apps) {
        names.push_back(app.name);
    }
    const auto records =
        ReportRecords(names, Report::kStarted, static_cast<size_t>(state.range(1)));
    Change({}, apps, {});
    for (auto iteration : state) {
        state.PauseTiming();
        for (const auto& app : apps) {
            ProcMgr::ApplicationManager::GetInstance()
                .FindApplication(app.name, false)
                ->CompareAndSetAppState(ProcMgr::AppStateType::RUNNING,
                                        ProcMgr::AppStateType::STARTING);
        }
        state.ResumeTiming();
        for (const std::string& record : records) {
            GrpOwnerMemory::Deliver(record);
        }
    }
    Change(apps, {}, {});
    Count(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1)->Arg(32)->Arg(kGroupSize)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(Start, wide, "wide")->Apply(Sizes);
BENCHMARK_CAPTURE(Start, chain, "chain")->Apply(Sizes);
BENCHMARK(StartOneByOne)->Arg(kGroupSize)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Stop, wide, "wide", kGroupSize)->Apply(Sizes);
BENCHMARK_CAPTURE(Stop, wide_one_by_one, "wide", 1)->Apply(Sizes);
BENCHMARK_CAPTURE(Stop, chain, "chain", kGroupSize)->Apply(Sizes);
BENCHMARK(Restart)->Apply(Sizes);
BENCHMARK(Report)->Args({kGroupSize, 1})->Args({kGroupSize, 128})->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace GrpOwnerBench
