// The hot paths of the search core: preparing text, matching one target, and a keystroke over the
// shared corpora (titles-10k.txt, and paths-100k.txt once scripts/bench has unpacked it).
#include "Search/FuzzyMatcher.h"
#include "Search/LineFilter.h"

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

namespace {

std::string corpusPath(const char* name)
{
    auto* folder = std::getenv("ZEPH_BENCH_CORPUS");
    return std::string(folder ? folder : ZEPH_BENCH_CORPUS) + "/" + name;
}

void prepareAsciiLines(benchmark::State& state)
{
    auto input = zeph::InputBuffer::readFile(corpusPath("paths-100k.txt"));
    if (!input) {
        state.SkipWithError("paths-100k.txt is missing: run scripts/bench once.");
        return;
    }
    // Only the pure-ASCII lines, which is what the per-byte target is about.
    std::string ascii;
    for (std::size_t start = 0; start < input->text().size();) {
        auto end = input->text().find('\n', start);
        auto line = input->text().substr(start, end - start);
        if (zeph::isASCII(line))
            (ascii += line) += '\n';
        start = end == std::string_view::npos ? input->text().size() : end + 1;
    }
    for (auto _ : state) {
        zeph::LineFilter filter { zeph::InputBuffer(ascii) };
        benchmark::DoNotOptimize(filter.size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * ascii.size()));
}
BENCHMARK(prepareAsciiLines)->Unit(benchmark::kMillisecond);

// Loading a whole corpus, mixed lines and all, as a run of `zeph filter` does before its search.
void loadLines(benchmark::State& state, const char* corpus)
{
    auto input = zeph::InputBuffer::readFile(corpusPath(corpus));
    if (!input) {
        state.SkipWithError("The corpus is missing: run scripts/bench once.");
        return;
    }
    std::string text(input->text());
    for (auto _ : state) {
        zeph::LineFilter filter { zeph::InputBuffer(text), 1 };
        benchmark::DoNotOptimize(filter.size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(loadLines, titles, "titles-10k.txt")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(loadLines, paths, "paths-100k.txt")->Unit(benchmark::kMillisecond);

void matchOneTarget(benchmark::State& state)
{
    static const char* cases[][2] = { { "sa", "Safari" }, { "code", "Visual Studio Code" },
        { "vsc", "Visual Studio Code" }, { "ode", "Visual Studio Code" },
        { "usrshrdoc", "/usr/share/doc/libpython3.11/copyright" } };
    auto& [query, title] = cases[state.range(0)];
    auto queryText = zeph::makeQueryText(query);
    auto target = zeph::makeMatchText(title);
    for (auto _ : state)
        benchmark::DoNotOptimize(zeph::FuzzyMatcher::match(queryText, target));
    state.SetLabel(std::string(query) + " / " + title);
}
BENCHMARK(matchOneTarget)->DenseRange(0, 4);

void keystroke(benchmark::State& state, const char* corpus, const char* query)
{
    auto input = zeph::InputBuffer::readFile(corpusPath(corpus));
    if (!input) {
        state.SkipWithError("The corpus is missing: run scripts/bench once.");
        return;
    }
    zeph::LineFilter filter(std::move(*input));
    filter.prepareForTyping();
    auto queryText = zeph::makeQueryText(query);
    zeph::LineFilter::Options options { .limit = 256 };
    for (auto _ : state) {
        filter.forgetPreviousQuery();
        benchmark::DoNotOptimize(filter.search(queryText, options));
    }
}
BENCHMARK_CAPTURE(keystroke, titles_e, "titles-10k.txt", "e")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(keystroke, titles_code, "titles-10k.txt", "code")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(keystroke, paths_e, "paths-100k.txt", "e")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(keystroke, paths_usrshrdoc, "paths-100k.txt", "usrshrdoc")
    ->Unit(benchmark::kMillisecond);

} // namespace
