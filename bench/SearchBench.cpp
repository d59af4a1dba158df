// The launcher's answer on each keystroke over a realistic index: 500 applications, 100 settings
// panels, the system commands, 200 workflows, 1,000 snippets, 1,000 clipboard entries and 4,000
// learned queries. Titles come from the shared corpus, so that figures compare across machines.
#include "GeneratedWorkflows.h"
#include "Search/LauncherResults.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <memory>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;

std::string corpusPath(const char* name)
{
    auto* folder = std::getenv("ZEPH_BENCH_CORPUS");
    return std::string(folder ? folder : ZEPH_BENCH_CORPUS) + "/" + name;
}

std::vector<std::string> lines(const std::string& path)
{
    std::ifstream stream(path);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty())
            result.push_back(line);
    }
    return result;
}

Date benchNow()
{
    return Date(std::chrono::seconds(1'795'000'000));
}

struct World {
    std::vector<SearchItem> applications;
    std::vector<SearchItem> settingsPanels;
    std::vector<Workflow> workflows;
    std::vector<SnippetCollection> snippets;
    std::vector<ClipboardItem> clipboard;
    KnowledgeBase::Snapshot knowledge;
};

World makeWorld()
{
    auto titles = lines(corpusPath("titles-10k.txt"));
    World world;
    std::size_t next = 0;
    auto title = [&] {
        return titles.empty() ? "Title " + std::to_string(next++) : titles[next++ % titles.size()];
    };
    for (int index = 0; index < 500; ++index) {
        auto path = "/usr/share/applications/app" + std::to_string(index) + ".desktop";
        world.applications.push_back({ .id = path,
            .title = title(),
            .subtitle = title(),
            .kind = ItemKind::application,
            .path = path,
            .keywords = { title(), title() } });
    }
    for (int index = 0; index < 100; ++index) {
        auto path = "/usr/share/applications/panel" + std::to_string(index) + ".desktop";
        world.settingsPanels.push_back(
            { .id = path, .title = title(), .kind = ItemKind::systemSetting, .path = path });
    }
    for (std::size_t index = 0; index < 200; ++index)
        world.workflows.push_back(Bench::generatedWorkflow(index));
    for (int collection = 0; collection < 10; ++collection) {
        SnippetCollection snippets {
            .id = "c" + std::to_string(collection), .name = title(), .prefix = ";"
        };
        for (int index = 0; index < 100; ++index) {
            snippets.snippets.push_back({ .id = std::to_string(index),
                .name = title(),
                .keyword = "k" + std::to_string(collection * 100 + index),
                .content = title() + "\n" + title() });
        }
        world.snippets.push_back(std::move(snippets));
    }
    for (int index = 0; index < 1000; ++index) {
        world.clipboard.push_back({ .id = std::to_string(index),
            .text = title() + " " + title(),
            .sourceApp = "Terminal",
            .date = benchNow(),
            .pinned = index < 5 });
    }
    for (int index = 0; index < 4000; ++index) {
        auto query
            = KnowledgeBase::queryKey(title().substr(0, 1 + index % 6)) + std::to_string(index);
        world.knowledge.entries[query][world.applications[static_cast<std::size_t>(index) % 500].id]
            = { .count = 1.0 + index % 3, .lastUsed = benchNow() };
    }
    return world;
}

void fill(SearchEngine& engine, const World& world)
{
    engine.setApplications(world.applications);
    engine.setSystemSettings(world.settingsPanels);
    engine.setWorkflows(world.workflows);
    engine.setSnippets(world.snippets);
    engine.setClipboard(world.clipboard);
}

// Every prefix of every shared query, as typed key by key.
std::vector<std::string> keystrokes()
{
    std::vector<std::string> typed;
    for (auto& query : lines(corpusPath("../queries.txt"))) {
        for (std::size_t length = 1; length <= query.size(); ++length)
            typed.push_back(query.substr(0, length));
    }
    return typed;
}

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
    auto percentile = [&](double fraction) {
        return times[std::min(times.size() - 1,
            static_cast<std::size_t>(fraction * static_cast<double>(times.size())))];
    };
    state.counters["p50_us"] = percentile(0.5);
    state.counters["p99_us"] = percentile(0.99);
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
