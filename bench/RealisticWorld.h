#pragma once

// A realistic launcher index for the benchmarks: 500 applications, 100 settings panels, 200
// workflows, 1,000 snippets, 1,000 clipboard entries and 4,000 learned queries. Titles come from
// the shared corpus, so that figures compare across machines.
#include "GeneratedWorkflows.h"
#include "Search/SearchEngine.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace zeph::Bench {

inline std::string corpusPath(const char* name)
{
    auto* folder = std::getenv("ZEPH_BENCH_CORPUS");
    return std::string(folder ? folder : ZEPH_BENCH_CORPUS) + "/" + name;
}

inline std::vector<std::string> lines(const std::string& path)
{
    std::ifstream stream(path);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty())
            result.push_back(line);
    }
    return result;
}

inline Date benchNow()
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

inline World makeWorld()
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
        world.workflows.push_back(generatedWorkflow(index));
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

inline void fill(SearchEngine& engine, const World& world)
{
    engine.setApplications(world.applications);
    engine.setSystemSettings(world.settingsPanels);
    engine.setWorkflows(world.workflows);
    engine.setSnippets(world.snippets);
    engine.setClipboard(world.clipboard);
}

// Every prefix of every shared query, as typed key by key.
inline std::vector<std::string> keystrokes()
{
    std::vector<std::string> typed;
    for (auto& query : lines(corpusPath("../queries.txt"))) {
        for (std::size_t length = 1; length <= query.size(); ++length)
            typed.push_back(query.substr(0, length));
    }
    return typed;
}

// The p-th fraction of sorted times.
inline double percentile(const std::vector<double>& sorted, double fraction)
{
    return sorted[std::min(sorted.size() - 1,
        static_cast<std::size_t>(fraction * static_cast<double>(sorted.size())))];
}

} // namespace zeph::Bench
