// The launcher's answer on each keystroke over a realistic index.
#include "RealisticWorld.h"
#include "Search/LauncherResults.h"

#include <malloc.h>
#include <memory>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;
using namespace zeph::Bench;

void keystroke(benchmark::State& state)
{
    auto world = makeWorld();
    KnowledgeBase knowledge(world.knowledge);
    SearchEngine engine(SearchSettings {}, knowledge, benchNow, "/home/bench");
    fill(engine, world);
    auto typed = keystrokes();
    std::vector<double> times;
    std::size_t rows = 0;
    for (auto _ : state) {
        for (auto& text : typed) {
            auto start = std::chrono::steady_clock::now();
            auto results = LauncherResults::build(text, std::nullopt, engine);
            times.push_back(
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                    .count());
            for (auto& section : results.sections)
                rows += section.results.size();
            benchmark::DoNotOptimize(results);
        }
    }
    std::sort(times.begin(), times.end());
    state.counters["p50_us"] = percentile(times, 0.5);
    state.counters["p99_us"] = percentile(times, 0.99);
    state.counters["max_us"] = times.back();
    state.SetLabel(std::to_string(typed.size()) + " keystrokes a pass, "
        + std::to_string(rows / state.iterations()) + " rows");
}
BENCHMARK(keystroke)->Unit(benchmark::kMillisecond);

void buildIndex(benchmark::State& state)
{
    auto world = makeWorld();
    KnowledgeBase knowledge(world.knowledge);
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto before = mallinfo2().uordblks;
        auto engine
            = std::make_unique<SearchEngine>(SearchSettings {}, knowledge, benchNow, "/home/bench");
        fill(*engine, world);
        bytes = mallinfo2().uordblks - before;
        benchmark::DoNotOptimize(engine);
    }
    state.counters["index_MiB"] = static_cast<double>(bytes) / (1024.0 * 1024.0);
}
BENCHMARK(buildIndex)->Unit(benchmark::kMillisecond);

} // namespace
