// The calculator runs on every keystroke, before any search: a typical expression, a conversion,
// and text that is no calculation at all, which must cost next to nothing.
#include "Search/Calculator.h"

#include <benchmark/benchmark.h>

namespace {

void results(benchmark::State& state)
{
    static const char* texts[]
        = { "(12.5+3)*4/7", "10 km in mi", "10 km in miles", "visual studio" };
    std::string_view text = texts[state.range(0)];
    for (auto _ : state)
        benchmark::DoNotOptimize(zeph::Calculator::results(text));
    state.SetLabel(std::string(text));
}
BENCHMARK(results)->DenseRange(0, 3);

} // namespace
