// The snippet hot paths: one typed character through the expansion matcher over 1,000 snippets,
// which every keystroke on the machine pays, and rendering a template when a snippet fires.
#include "Snippets/ExpansionMatcher.h"
#include "Snippets/SnippetTemplate.h"

#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;

// 1,000 snippets with keywords of four to ten random lower-case letters behind ";", so that every
// letter ends about 38 triggers.
ExpansionMatcher thousandSnippets()
{
    std::mt19937 random(42);
    SnippetCollection collection { .id = "bench", .prefix = ";" };
    for (int index = 0; index < 1000; ++index) {
        std::string keyword(4 + random() % 7, 'a');
        for (auto& letter : keyword)
            letter = static_cast<char>('a' + random() % 26);
        collection.snippets.push_back({ .id = std::to_string(index), .keyword = keyword });
    }
    return ExpansionMatcher(ExpansionTrigger::triggers({ collection }), false);
}

// Prose, one key event a character: most characters end dozens of triggers, none completes one.
void feedProse(benchmark::State& state)
{
    auto matcher = thousandSnippets();
    const std::string prose = "the quick brown fox jumps over the lazy dog and types a long "
                              "sentence into some other application while nothing expands ";
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(matcher.feed(std::string_view(&prose[next], 1), "firefox"));
        next = next + 1 == prose.size() ? 0 : next + 1;
    }
}
BENCHMARK(feedProse);

// A character that no trigger ends in: the look-up alone.
void feedNoCandidates(benchmark::State& state)
{
    auto matcher = thousandSnippets();
    for (auto _ : state)
        benchmark::DoNotOptimize(matcher.feed("7", "firefox"));
}
BENCHMARK(feedNoCandidates);

// One event of a character outside ASCII, which goes through segmentation.
void feedAccented(benchmark::State& state)
{
    auto matcher = thousandSnippets();
    for (auto _ : state)
        benchmark::DoNotOptimize(matcher.feed("é", "firefox"));
}
BENCHMARK(feedAccented);

void renderThreePlaceholders(benchmark::State& state)
{
    SnippetTemplate::Context context { .date
        = std::chrono::sys_days(std::chrono::year(2026) / 11 / 13),
        .clipboard = "the copied text",
        .fills = { { "Name", "Ada" } },
        .locale = "de_DE",
        .timeZone = "Europe/Berlin" };
    const std::string text = "Hi {fill:Name}, on {date:long} you copied: {clipboard}. Cheers";
    for (auto _ : state)
        benchmark::DoNotOptimize(SnippetTemplate::render(text, context));
}
BENCHMARK(renderThreePlaceholders);

} // namespace
