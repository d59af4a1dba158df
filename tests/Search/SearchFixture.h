#pragma once

#include "Search/SearchEngine.h"

#include <chrono>
#include <map>

namespace zeph::Testing {

inline Date fixedNow()
{
    return std::chrono::sys_days(std::chrono::year_month_day(
               std::chrono::year(2026), std::chrono::month(11), std::chrono::day(24)))
        + std::chrono::hours(12);
}

// Directories in memory, so that navigation tests need no disk.
class MemoryFileManager final : public FileNavigator::FileManager {
public:
    std::map<std::string, std::vector<std::string>> directories;

    std::optional<std::vector<std::string>> contentsOfDirectory(
        const std::string& path) const override
    {
        auto found = directories.find(path);
        if (found == directories.end())
            return std::nullopt;
        return found->second;
    }
    bool isDirectory(const std::string& path) const override { return directories.contains(path); }
};

inline Workflow keywordWorkflow(std::string id, std::string keyword, ArgumentRequirement argument,
    std::string title = "Search {query}", std::string subtitle = "")
{
    return {
        .id = std::move(id),
        .name = "Keyword",
        .nodes = { { .id = "in",
            .kind = NodeKind::Keyword {
                .keyword = std::move(keyword),
                .title = std::move(title),
                .subtitle = std::move(subtitle),
                .argument = argument,
            } } },
    };
}

// An engine over a small, known world: a few applications, a snippet collection, workflows of
// each input kind, a clipboard with a pinned entry, and the default web searches.
struct SearchFixture {
    KnowledgeBase knowledge;
    MemoryFileManager files;
    SearchEngine engine;

    explicit SearchFixture(SearchSettings settings = {})
        : engine(std::move(settings), knowledge, fixedNow, "/home/ann", files)
    {
        engine.setApplications({
            { .id = "/usr/share/applications/firefox.desktop",
                .title = "Firefox",
                .subtitle = "Web Browser",
                .kind = ItemKind::application,
                .keywords = { "browser" } },
            { .id = "/usr/share/applications/files.desktop",
                .title = "Files",
                .kind = ItemKind::application },
            { .id = "/usr/share/applications/terminal.desktop",
                .title = "Terminal",
                .kind = ItemKind::application },
        });
        engine.setSystemSettings({
            { .id = "/usr/share/applications/display.desktop",
                .title = "Displays",
                .kind = ItemKind::systemSetting },
        });
        Workflow list {
            .id = "list",
            .name = "List",
            .nodes = { { .id = "in",
                .kind = NodeKind::ListFilter {
                    .keyword = "colors",
                    .title = "Colours",
                    .items = { { "r", "Red", "warm", "#f00" }, { "b", "Blue", "cold", "#00f" } },
                } } },
        };
        Workflow script {
            .id = "script",
            .name = "Script",
            .nodes = { { .id = "in",
                .kind = NodeKind::ScriptFilter { .keyword = "tickets", .title = "Tickets" } } },
        };
        engine.setWorkflows({ keywordWorkflow("kw", "kw", ArgumentRequirement::required), list,
            script, keywordWorkflow("shadow", "g", ArgumentRequirement::optional) });
        engine.setSnippets({ {
            .id = "c",
            .name = "Mail",
            .prefix = ";",
            .snippets = {
                { .id = "s1", .name = "Signature", .keyword = "sig", .content = "Best,\nAnn" },
                { .id = "s2", .keyword = "addr", .content = "1 Main St" },
                { .id = "s3", .name = "Off", .content = "x", .isEnabled = false },
            },
        } });
        engine.setClipboard({
            { .id = "1",
                .text = "kubectl get pods\n-n default",
                .sourceApp = "Terminal",
                .date = fixedNow() },
            { .id = "2", .text = "pinned secret recipe", .date = fixedNow(), .pinned = true },
        });
    }
};

} // namespace zeph::Testing
