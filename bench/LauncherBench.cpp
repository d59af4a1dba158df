// The launcher application's logic over the realistic index: a keystroke from the text change to
// the rows handed to the panel, loading every document at start, and the snippet expander's work
// on a key press that expands nothing. The desktop is the tests' fake one.
#include "Logic/LauncherWorld.h"
#include "RealisticWorld.h"
#include "Storage/JSONFileStore.h"
#include "Support/Allocator.h"

#include <benchmark/benchmark.h>

namespace {

// The allocator as the application and zeph-mcp set it.
const bool allocatorIsTuned = (zeph::tuneAllocatorForDocuments(), true);

using namespace zeph;
using namespace zeph::Bench;

// A data folder holding the world's documents, as a user's would.
struct DataFolder {
    TemporaryDirectory folder;
    World world = makeWorld();

    DataFolder()
    {
        auto write = [&](std::string_view name, const Json::Value& value) {
            std::ofstream(folder / std::string(name)) << *Json::documentText(value);
        };
        write(Paths::settingsFile, toJSON(AppSettings {}));
        write(Paths::snippetsFile,
            DocumentCoding<std::vector<SnippetCollection>>::encode(world.snippets));
        write(Paths::workflowsFile, DocumentCoding<std::vector<Workflow>>::encode(world.workflows));
        write(Paths::knowledgeFile, toJSON(world.knowledge));
        write(Paths::clipboardFile, toJSON(ClipboardHistory { world.clipboard }));
    }
};

void loadDocuments(benchmark::State& state)
{
    DataFolder data;
    FakeMainLoop loop;
    FakeFolderWatching watching;
    for (auto _ : state) {
        AppModel model(data.folder.path(), loop, watching, "/home/bench");
        benchmark::DoNotOptimize(model.engine().snippetItems().size());
    }
}
BENCHMARK(loadDocuments)->Unit(benchmark::kMillisecond);

// The launcher over the data folder, with the world's applications indexed.
struct Launcher
    : DataFolder
    , LauncherWorld {
    Launcher()
        : LauncherWorld(DataFolder::folder.path())
    {
        model.engine().setApplications(world.applications);
        model.engine().setSystemSettings(world.settingsPanels);
        model.accessibilityTrusted().set(true);
        launcher.show();
    }
};

void keystroke(benchmark::State& state)
{
    Launcher launcher;
    auto typed = keystrokes();
    std::vector<double> times;
    for (auto _ : state) {
        for (auto& text : typed) {
            auto start = std::chrono::steady_clock::now();
            launcher.launcher.queryChanged(text);
            times.push_back(
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                    .count());
        }
        // The file searcher's answers are never given; its completions pile up otherwise.
        launcher.files.pending.clear();
        launcher.files.requests.clear();
    }
    std::sort(times.begin(), times.end());
    state.counters["p50_us"] = percentile(times, 0.5);
    state.counters["p99_us"] = percentile(times, 0.99);
    state.counters["max_us"] = times.back();
    state.SetLabel(std::to_string(typed.size()) + " keystrokes a pass, "
        + std::to_string(launcher.view.updates / std::max<std::int64_t>(1, state.iterations()))
        + " panel updates");
}
BENCHMARK(keystroke)->Unit(benchmark::kMillisecond);

void expanderKeyPress(benchmark::State& state)
{
    Launcher launcher;
    std::string prose = "the quick brown fox jumps over the lazy dog, and then some more words ";
    std::size_t next = 0;
    for (auto _ : state) {
        launcher.keyEvents.type(std::string_view(&prose[next], 1));
        next = (next + 1) % prose.size();
    }
    if (!launcher.keys.taps.empty())
        state.SkipWithError("a snippet expanded");
}
BENCHMARK(expanderKeyPress);

} // namespace
