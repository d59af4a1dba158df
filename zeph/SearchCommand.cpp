#include "Clipboard/ClipboardHistory.h"
#include "CommandLine.h"
#include "Files/FileSearcher.h"
#include "Search/AppIndexer.h"
#include "Search/LauncherResults.h"
#include "Storage/AppSettings.h"
#include "WorkflowChoice.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct SearchOptions {
    std::optional<std::string> mode {};
    bool json = false;
    std::optional<std::int64_t> limit {};
    std::optional<std::string> now {};
    std::vector<std::string> words {};
};

void printText(const LauncherResults& results)
{
    for (auto& section : results.sections) {
        std::printf("%s%s%s\n", section.title.c_str(), section.hint ? " · " : "",
            section.hint.value_or("").c_str());
        for (auto& result : section.results) {
            auto& item = result.item;
            std::printf("  %s\t%s\t%s%s\n", item.title.c_str(), item.subtitle.c_str(),
                std::string(toString(item.kind)).c_str(), item.isValid ? "" : "\tnot valid");
        }
    }
}

int search(const SearchOptions& options, const GlobalOptions& global)
{
    auto now = presentDate(options.now);
    if (!now)
        return fail(now.error().message);
    std::optional<LauncherMode> mode;
    if (options.mode) {
        mode = fromString<LauncherMode>(*options.mode);
        if (!mode)
            return fail("--mode \"" + *options.mode
                + "\" is none of files, find, contents, clipboard, snippets and google.");
    }
    auto text = joinedWords(options.words);
    // Typing a mode's prefix enters the mode, as in the panel.
    if (!mode) {
        if (auto detected = detectMode(text)) {
            mode = detected->first;
            text = std::move(detected->second);
        }
    }

    auto folder = global.dataFolder();
    auto settings
        = documentToShow(folder, Paths::settingsFile, AppSettings {}, "the defaults apply.");
    if (options.limit)
        settings.search.maxResults = *options.limit;
    KnowledgeBase knowledge(documentToShow(
        folder, Paths::knowledgeFile, KnowledgeBase::Snapshot {}, "nothing learned applies."));
    SearchEngine engine(settings.search, knowledge, [date = *now] { return date; });
    engine.learningEnabled = settings.learningEnabled;
    auto applications = AppIndexer::scan(settings.search.applicationFolders);
    engine.setApplications(std::move(applications.applications));
    engine.setSystemSettings(std::move(applications.systemSettings));
    engine.setWorkflows(installedWorkflows(global));
    if (auto collections = snippetCollections(global))
        engine.setSnippets(*collections);
    else
        warn(collections.error().message);
    engine.setClipboard(documentToShow(
        folder, Paths::clipboardFile, ClipboardHistory {}, "the clipboard history is empty.")
                            .items);

    auto results = LauncherResults::build(text, mode, engine);
    // The file search runs here and now, where the panel would wait for it; without an index
    // (`zeph index` builds it) it finds nothing.
    if (results.fileSearch) {
        std::vector<SearchItem> files;
        auto indexFile = folder / Paths::fileIndexFile;
        if (std::filesystem::exists(indexFile)) {
            if (auto index = FileIndex::open(indexFile))
                files = FileSearcher::search(
                    **index, *results.fileSearch, settings.search, engine.home());
        }
        results = results.mergingFiles(std::move(files), engine);
    }
    if (options.json)
        printJSON(toJSON(results));
    else
        printText(results);
    return results.sections.empty() ? nothingFound : success;
}

int listApplications(bool json, const GlobalOptions& global)
{
    auto settings = documentToShow(
        global.dataFolder(), Paths::settingsFile, AppSettings {}, "the defaults apply.");
    auto index = AppIndexer::scan(settings.search.applicationFolders);
    for (auto* items : { &index.applications, &index.systemSettings }) {
        for (auto& item : *items) {
            if (json)
                printJSON(toJSON(item));
            else
                std::printf("%s\t%s\t%s\n", item.title.c_str(),
                    std::string(toString(item.kind)).c_str(), item.path.value_or("").c_str());
        }
    }
    return index.applications.empty() && index.systemSettings.empty() ? nothingFound : success;
}

} // namespace

void addSearchCommands(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto* command = app.add_subcommand(
        "search", "Show what the launcher shows for TEXT, from the data folder's documents.");
    auto options = std::make_shared<SearchOptions>();
    command->add_option("--mode", options->mode,
        "Search in a mode: files, find, contents, clipboard, snippets or google");
    command->add_flag("--json", options->json, "Print the whole answer as one line of JSON");
    command
        ->add_option(
            "--limit", options->limit, "Rows per source instead of the settings' maxResults")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--now", options->now, "The moment to search at (ISO 8601)");
    command->add_option(
        "text", options->words, "What is typed; several words are joined by spaces");
    command->callback([&action, &global, options] {
        action = [&global, options] { return search(*options, global); };
    });

    auto* apps = app.add_subcommand("apps", "List the indexed applications and settings panels.");
    auto json = std::make_shared<bool>(false);
    apps->add_flag("--json", *json, "Print each as a search item in JSON");
    apps->callback([&action, &global, json] {
        action = [&global, json] { return listApplications(*json, global); };
    });
}

} // namespace zeph::CommandLine
