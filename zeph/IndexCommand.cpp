#include "CommandLine.h"
#include "Files/FileIndex.h"
#include "Files/FileSearcher.h"
#include "Files/FileWatcher.h"
#include "Files/RecentlyUsed.h"
#include "Storage/AppSettings.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <set>
#include <sys/stat.h>
#include <sys/statvfs.h>
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

FileIndex::Scope scopeOf(const SearchSettings& settings)
{
    auto environment = Paths::Environment::current();
    auto home = environment.home.value_or("");
    FileIndex::Scope scope;
    for (auto& folder : settings.fileScopes)
        scope.folders.push_back(expandingTilde(folder, home));
    scope.isExcluded
        = [settings, home](std::string_view path) { return settings.isExcluded(path, home); };
    scope.recentlyUsed = recentlyUsedFile(home, environment.xdgDataHome.value_or(""));
    scope.indexesContents = settings.indexFileContents;
    return scope;
}

// How many entries the scopes may hold, for telling the time left of a first build: the files in
// use on their file systems, which is at least as many.
std::int64_t entriesOnFileSystems(const std::vector<std::string>& folders)
{
    std::set<std::uint64_t> devices;
    std::int64_t entries = 0;
    for (auto& folder : folders) {
        struct stat status { };
        struct statvfs system { };
        if (stat(folder.c_str(), &status) != 0 || !devices.insert(status.st_dev).second
            || statvfs(folder.c_str(), &system) != 0)
            continue;
        entries += static_cast<std::int64_t>(system.f_files - system.f_ffree);
    }
    return entries;
}

std::string duration(double seconds)
{
    auto whole = static_cast<long long>(seconds + 0.5);
    char text[32];
    if (whole < 60)
        std::snprintf(text, sizeof text, "%lld s", whole);
    else if (whole < 3600)
        std::snprintf(text, sizeof text, "%lld min %lld s", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lld h %lld min", whole / 3600, whole / 60 % 60);
    return text;
}

// One line on standard error, rewritten in place: what the crawl has seen, its rate and the time
// left, then the text files read.
class ProgressLine {
public:
    explicit ProgressLine(std::int64_t expectedEntries)
        : m_expectedEntries(expectedEntries)
    {
    }

    void report(const FileIndex::Progress& progress)
    {
        auto now = std::chrono::steady_clock::now();
        if (progress.phase != m_phase) {
            m_phase = progress.phase;
            m_phaseStart = now;
            std::fprintf(stderr, "\n");
        }
        auto seconds = std::chrono::duration<double>(now - m_phaseStart).count();
        auto done
            = m_phase == FileIndex::Progress::Phase::names ? progress.entries : progress.textsRead;
        auto expected = m_phase == FileIndex::Progress::Phase::names ? m_expectedEntries
                                                                     : progress.textsToRead;
        auto rate = seconds > 0 ? static_cast<double>(done) / seconds : 0.0;
        std::string left;
        if (rate > 0 && seconds >= 1 && expected > done)
            left = ", about " + duration(static_cast<double>(expected - done) / rate) + " left";
        if (m_phase == FileIndex::Progress::Phase::names)
            std::fprintf(stderr,
                "\rIndexing names: %lld folders, %lld entries, %.0f a second%s\033[K",
                static_cast<long long>(progress.folders), static_cast<long long>(done), rate,
                left.c_str());
        else
            std::fprintf(stderr, "\rReading text files: %lld of %lld, %.0f a second%s\033[K",
                static_cast<long long>(done), static_cast<long long>(expected), rate, left.c_str());
        std::fflush(stderr);
    }

private:
    std::int64_t m_expectedEntries;
    FileIndex::Progress::Phase m_phase = FileIndex::Progress::Phase::names;
    std::chrono::steady_clock::time_point m_phaseStart = std::chrono::steady_clock::now();
};

int buildIndex(const IndexOptions& options, const GlobalOptions& global)
{
    auto now = presentDate(options.now);
    if (!now)
        return fail(now.error().message);
    auto settings = settingsOf(global).search;
    auto file = indexFile(global);
    auto index = FileIndex::open(
        file, options.rebuild ? FileIndex::Start::afresh : FileIndex::Start::asFound);
    if (!index)
        return fail(index.error().message);
    auto scope = scopeOf(settings);
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    if (options.watch) {
        FileWatcher watcher(
            **index, scope, currentDate, [](const std::string& message) { warn(message); });
        std::fprintf(
            stderr, "Indexing the file scopes, then following their changes; Ctrl+C ends.\n");
        auto error = watcher.run(
            isStopRequested, [] { std::fprintf(stderr, "Up to date; following changes.\n"); });
        if (error)
            return fail(error->message);
        return success;
    }
    auto started = std::chrono::steady_clock::now();
    bool showsProgress = options.progress || isatty(STDERR_FILENO);
    auto known = (*index)->status().files;
    ProgressLine line(known > 0 ? known : entriesOnFileSystems(scope.folders));
    FileIndex::ProgressReport progress;
    if (showsProgress)
        progress = [&](const FileIndex::Progress& seen) { line.report(seen); };
    auto count = (*index)->update(scope, *now, progress, &isStopRequested);
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
    std::printf("Text files read: %lld%s\n", static_cast<long long>(status.texts),
        settings.indexFileContents ? "" : " (reading inside files is off)");
    std::printf("Size: %ju bytes", status.bytes);
    if (status.files > 0)
        std::printf(" (%ju a file)", status.bytes / static_cast<std::uintmax_t>(status.files));
    std::printf("\nLast update: %s\n",
        status.lastUpdate ? isoDateText(*status.lastUpdate).c_str() : "never");
    if (status.watchedFolders)
        std::printf("Watched folders: %lld (%lld rescanned instead)\n",
            static_cast<long long>(*status.watchedFolders),
            static_cast<long long>(status.unwatchedFolders.value_or(0)));
    else
        std::printf(
            "Watched folders: none yet (zeph index --watch, or the launcher, follows changes)\n");
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
    auto items = FileSearcher::search(**index,
        { .term = joinedWords(options.words),
            .contents = options.contents,
            .limit = options.limit },
        settings, Paths::Environment::current().home.value_or(""), options.limit);
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
    auto* index = app.add_subcommand(
        "index", "Build or update the file index of the file scopes in the settings.");
    auto options = std::make_shared<IndexOptions>();
    index->add_flag("--rebuild", options->rebuild, "Start from an empty index file");
    index->add_flag(
        "--watch", options->watch, "Update, then keep the index fresh until interrupted");
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
    files->add_flag("--contents", filesOptions->contents, "Search the words inside text files");
    files->add_flag("--json", filesOptions->json, "Print each row as a search item in JSON");
    files->add_option("--limit", filesOptions->limit, "At most this many rows")
        ->check(CLI::PositiveNumber);
    files->add_option("term", filesOptions->words, "The words to look for")->required();
    files->callback([&action, &global, filesOptions] {
        action = [&global, filesOptions] { return findFiles(*filesOptions, global); };
    });
}

} // namespace zeph::CommandLine
