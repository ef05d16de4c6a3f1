// The dependency graph of a start, without anybody who starts: built, and consumed layer by layer.

#include <benchmark/benchmark.h>

#include <cmath>

#include "platform/portable/depend_graph_builder.h"

namespace GrpOwnerBench {

namespace {

/// About sqrt(count) layers; each application depends on three of the layer before.
class Layers {
public:
    explicit Layers(benchmark::State& state) {
        const auto count = static_cast<size_t>(state.range(0));
        const auto width = static_cast<size_t>(std::sqrt(static_cast<double>(count)));
        for (size_t number = 0; number < count; ++number) {
            names_.push_back("app" + std::to_string(number));
            std::set<std::string>& depends = depends_[names_.back()];
            for (const size_t shift : {0, 1, 7}) {
                if (number >= width) {
                    depends.insert(names_[(number / width - 1) * width + (number + shift) % width]);
                }
            }
        }
    }

    DependGraph Graph() const {
        std::vector<std::string> unknown;
        return BuildStartGraph(depends_, names_, unknown);
    }

private:
    ParseAndDepend::DependsMap depends_;
    std::vector<std::string> names_;
};

void Build(benchmark::State& state) {
    const Layers layers(state);
    for (auto iteration : state) {
        benchmark::DoNotOptimize(layers.Graph());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void FreeSetAndPop(benchmark::State& state) {
    const Layers layers(state);
    DependGraph graph;
    for (auto iteration : state) {
        state.PauseTiming();
        graph = layers.Graph();
        state.ResumeTiming();
        while (!graph.IsEmpty()) {
            for (const std::string& name : graph.GetNoDependVertices()) {
                graph.Pop(name);
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(Build)->Name("Graph/build")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(FreeSetAndPop)->Name("Graph/pop")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace GrpOwnerBench
