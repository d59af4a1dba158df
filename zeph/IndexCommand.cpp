#include "CommandLine.h"
#include "Files/FileIndex.h"
#include "Files/FileSearcher.h"
#include "Files/FileWatcher.h"
#include "Storage/AppSettings.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace zeph::CommandLine {

namespace {

struct IndexOptions {
    bool rebuild = false;
    bool watch = false;
    bool progress = false;
    std::optional<std::string> now {};
};

struct FilesOptions {
    bool contents = false;
    bool json = false;
    int limit = 40;
    std::vector<std::string> words {};
};

// Set by SIGINT and SIGTERM, which end `zeph index --watch` between two batches.
std::atomic<bool> isStopRequested = false;

extern "C" void requestStop(int)
{
    isStopRequested = true;
}

AppSettings settingsOf(const GlobalOptions& global)
{
    return documentToShow(
        global.dataFolder(), Paths::settingsFile, AppSettings {}, "the defaults apply.");
}

std::filesystem::path indexFile(const GlobalOptions& global)
{
    return global.dataFolder() / Paths::fileIndexFile;
}

int buildIndex(const IndexOptions& options, const GlobalOptions& global)
{
    auto now = presentDate(options.now);
    if (!now)
        return fail(now.error().message);
    auto settings = settingsOf(global).search;
    auto file = indexFile(global);
    if (options.rebuild) {
        std::error_code error;
        for (auto suffix : { "", "-wal", "-shm" })
            std::filesystem::remove(file.string() + suffix, error);
    }
    auto index = FileIndex::open(file);
    if (!index)
        return fail(index.error().message);
    auto home = Paths::Environment::current().home.value_or("");
    FileIndex::Scope scope;
    for (auto& folder : settings.fileScopes)
        scope.folders.push_back(expandingTilde(folder, home));
    scope.isExcluded = [&](std::string_view path) { return settings.isExcluded(path, home); };
    if (options.watch) {
        std::signal(SIGINT, requestStop);
        std::signal(SIGTERM, requestStop);
        FileWatcher watcher(
            **index, scope, currentDate, [](const std::string& message) { warn(message); });
        std::fprintf(stderr, "Watching the file scopes; Ctrl+C ends.\n");
        if (auto error = watcher.run(isStopRequested))
            return fail(error->message);
        return success;
    }
    auto started = std::chrono::steady_clock::now();
    bool showsProgress = options.progress || isatty(STDERR_FILENO);
    auto progress = [&](std::int64_t entries) {
        if (!showsProgress)
            return;
        auto seconds
            = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        std::fprintf(stderr, "\rIndexing: %lld entries, %.0f a second",
            static_cast<long long>(entries),
            seconds > 0 ? static_cast<double>(entries) / seconds : 0.0);
        std::fflush(stderr);
    };
    auto count = (*index)->rebuild(scope, *now, progress);
    if (showsProgress)
        std::fprintf(stderr, "\n");
    if (!count)
        return fail(count.error().message);
    std::printf("Indexed %lld entries in %.1f s.\n", static_cast<long long>(*count),
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    return success;
}

int showStatus(const GlobalOptions& global)
{
    auto index = FileIndex::open(indexFile(global));
    if (!index)
        return fail(index.error().message);
    auto status = (*index)->status();
    auto settings = settingsOf(global).search;
    std::printf("Index: %s\n", indexFile(global).c_str());
    std::printf("Entries: %lld in %lld folders\n", static_cast<long long>(status.files),
        static_cast<long long>(status.folders));
    std::printf("Size: %ju bytes", status.bytes);
    if (status.files > 0)
        std::printf(" (%ju a file)", status.bytes / static_cast<std::uintmax_t>(status.files));
    std::printf("\nLast update: %s\n",
        status.lastUpdate ? isoDateText(*status.lastUpdate).c_str() : "never");
    for (auto& scope : settings.fileScopes)
        std::printf("Scope: %s\n", scope.c_str());
    return status.lastUpdate ? success : nothingFound;
}

int findFiles(const FilesOptions& options, const GlobalOptions& global)
{
    auto index = FileIndex::open(indexFile(global));
    if (!index)
        return fail(index.error().message);
    auto settings = settingsOf(global).search;
    FileSearcher searcher(**index, Paths::Environment::current().home.value_or(""), options.limit);
    auto items = searcher.search({ .term = joinedWords(options.words),
                                     .contents = options.contents,
                                     .limit = options.limit },
        settings);
    for (auto& item : items) {
        if (options.json)
            printJSON(toJSON(item));
        else
            std::printf("%s\t%s\t%s\n", item.title.c_str(), item.subtitle.c_str(),
                std::string(toString(item.kind)).c_str());
    }
    return items.empty() ? nothingFound : success;
}

} // namespace

void addIndexCommands(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto* index
        = app.add_subcommand("index", "Build the file index of the file scopes in the settings.");
    auto options = std::make_shared<IndexOptions>();
    index->add_flag("--rebuild", options->rebuild, "Start from an empty index file");
    index->add_flag("--watch", options->watch, "Index, then keep the index fresh until interrupted");
    index->add_flag(
        "--progress", options->progress, "Report progress on standard error even off a terminal");
    index->add_option("--now", options->now, "The moment recorded as the last update (ISO 8601)");
    auto* status = index->add_subcommand(
        "status", "Print the index's size, entry count, last update and scopes.");
    index->callback([&action, &global, options, status] {
        if (status->parsed())
            action = [&global] { return showStatus(global); };
        else
            action = [&global, options] { return buildIndex(*options, global); };
    });

    auto* files = app.add_subcommand("files", "Print what the file search finds for TERM.");
    auto filesOptions = std::make_shared<FilesOptions>();
    files->add_flag("--contents", filesOptions->contents, "Search inside files (not indexed yet)");
    files->add_flag("--json", filesOptions->json, "Print each row as a search item in JSON");
    files->add_option("--limit", filesOptions->limit, "At most this many rows")
        ->check(CLI::PositiveNumber);
    files->add_option("term", filesOptions->words, "The words to look for")->required();
    files->callback([&action, &global, filesOptions] {
        action = [&global, filesOptions] { return findFiles(*filesOptions, global); };
    });
}

} // namespace zeph::CommandLine
