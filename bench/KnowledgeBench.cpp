// The knowledge base's hot paths: the boosts of one keystroke over a full base of 4,000 query keys,
// and recording one pick.
#include "Search/KnowledgeBase.h"

#include <random>
#include <set>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;

const Date start = std::chrono::sys_days(std::chrono::year(2026) / 11 / 13);

// Item names of a few syllables, as application and file names go.
std::vector<std::string> itemNames(std::size_t count, std::mt19937& random)
{
    static const char* syllables[] = { "sa", "fa", "ri", "te", "xt", "ed", "it", "co", "de", "ma",
        "il", "no", "ter", "mi", "nal", "ph", "ot", "os", "ca", "len", "dar", "sl", "ack", "fi",
        "re", "fox", "vi", "m", "go", "ne", "st", "ze" };
    std::uniform_int_distribution<std::size_t> syllable(0, std::size(syllables) - 1);
    std::uniform_int_distribution<int> length(2, 4);
    std::vector<std::string> names;
    for (std::size_t index = 0; index < count; ++index) {
        std::string name;
        for (int part = length(random); part > 0; --part)
            name += syllables[syllable(random)];
        names.push_back(name);
    }
    return names;
}

// Picks as users make them: a beginning of the item's name, typed over ninety days, until the base
// holds `keyCount` query keys. With `sharedInitial`, every key begins with the same letter: the
// worst case, in which the typed letter begins every stored key.
KnowledgeBase::Snapshot fullBase(std::size_t keyCount, bool sharedInitial = false)
{
    std::mt19937 random(42);
    auto names = itemNames(2000, random);
    std::uniform_int_distribution<std::size_t> item(0, names.size() - 1);
    std::uniform_int_distribution<int> age(0, 90 * 24 * 3600);
    KnowledgeBase knowledge;
    std::set<std::string> keys;
    while (keys.size() < keyCount) {
        auto& name = names[item(random)];
        std::uniform_int_distribution<std::size_t> typed(1, std::min<std::size_t>(name.size(), 9));
        auto query = (sharedInitial ? "s" : "") + name.substr(0, typed(random));
        keys.insert(KnowledgeBase::queryKey(query));
        knowledge.record(query, "app:/usr/share/applications/" + name + ".desktop",
            start - std::chrono::seconds(age(random)));
    }
    return knowledge.snapshot();
}

void boosts(benchmark::State& state, bool sharedInitial)
{
    KnowledgeBase knowledge(fullBase(KnowledgeBase::pruningThreshold, sharedInitial));
    // One keystroke after another on the way to a name, and one query that nothing learned.
    const std::vector<std::string> queries = sharedInitial
        ? std::vector<std::string> { "s" }
        : std::vector<std::string> { "s", "sa", "saf", "safa", "safari", "qqq" };
    std::size_t results = 0;
    std::size_t next = 0;
    for (auto _ : state) {
        auto scores = knowledge.boosts(queries[next++ % queries.size()], start);
        results += scores.size();
        benchmark::DoNotOptimize(scores);
    }
    state.counters["keys"] = static_cast<double>(knowledge.snapshot().entries.size());
    state.counters["items/query"] = static_cast<double>(results) / state.iterations();
}

void boostsWhileTyping(benchmark::State& state)
{
    boosts(state, false);
}
BENCHMARK(boostsWhileTyping)->Unit(benchmark::kMicrosecond);

void boostsForALetterThatBeginsEveryKey(benchmark::State& state)
{
    boosts(state, true);
}
BENCHMARK(boostsForALetterThatBeginsEveryKey)->Unit(benchmark::kMicrosecond);

// A pick of an item already learned under its query, the common case.
void recordAgain(benchmark::State& state)
{
    auto snapshot = fullBase(KnowledgeBase::pruningThreshold);
    std::vector<std::pair<std::string, std::string>> pairs;
    for (auto& [key, items] : snapshot.entries)
        pairs.emplace_back(key, items.begin()->first);
    KnowledgeBase knowledge(std::move(snapshot));
    std::size_t next = 0;
    for (auto _ : state) {
        auto& [query, id] = pairs[next++ % pairs.size()];
        knowledge.record(query, id, start);
    }
}
BENCHMARK(recordAgain)->Unit(benchmark::kMicrosecond);

// A pick under a query never typed before, on a full base: every 400th pick prunes 401 keys.
void recordNewQuery(benchmark::State& state)
{
    KnowledgeBase knowledge(fullBase(KnowledgeBase::pruningThreshold));
    std::size_t next = 0;
    for (auto _ : state) {
        auto query = "new query " + std::to_string(next++);
        knowledge.record(
            query, "app:/usr/share/applications/new.desktop", start + std::chrono::seconds(next));
    }
}
BENCHMARK(recordNewQuery)->Unit(benchmark::kMicrosecond);

} // namespace
