#pragma once

#include "RunningApplication.h"
#include "Snippets/Snippet.h"
#include "Storage/JSONFileStore.h"
#include "Storage/Paths.h"
#include "Support/Calendar.h"
#include "Support/InputBuffer.h"
#include "Support/IsoDate.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace zeph::CommandLine {

// Exit statuses shared by every command.
enum ExitStatus : int { success = 0, nothingFound = 1, badUsage = 2 };

// Each command registers itself and, when chosen, leaves what to run in `action`.
using Action = std::function<int()>;
void addPrepareCommand(CLI::App& app, Action& action);
void addMatchCommand(CLI::App& app, Action& action);
void addParseCommand(CLI::App& app, Action& action);
void addRankCommand(CLI::App& app, Action& action);
void addFilterCommand(CLI::App& app, Action& action);
void addCalcCommand(CLI::App& app, Action& action);
void addWebCommand(CLI::App& app, Action& action);
void addKeysCommand(CLI::App& app, Action& action);
void addRenderCommand(CLI::App& app, Action& action);

// Options of the whole command line, read by the commands when they run.
struct GlobalOptions {
    std::optional<std::string> dataDirectory {}; // --data-dir.
    // --data-dir, else ZEPH_DATA_DIR, else the per-user data folder; created if missing.
    std::filesystem::path dataFolder() const;
};
void addClipboardCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addSnippetsCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addConfigCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addThemesCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addLearnCommands(CLI::App& app, Action& action, const GlobalOptions& options);
void addTriggersCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addImportCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addWorkflowsCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addRunCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addFilterScriptCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addSearchCommands(CLI::App& app, Action& action, const GlobalOptions& options);
void addIndexCommands(CLI::App& app, Action& action, const GlobalOptions& options);

// The snippet collections of the data folder, read under its lock; the starter collection when
// there is no "snippets.json".
Result<std::vector<SnippetCollection>> snippetCollections(const GlobalOptions& options);

// All of standard input; read errors are reported, never thrown.
Result<InputBuffer> readStandardInput();
// One compact JSON value on a line of its own; invalid UTF-8 in strings becomes U+FFFD.
void printJSON(const Json::Value& value);
// A record as its document holds it, pretty-printed, or with `compact` as one line; returns the
// exit status.
int printRecord(const Json::Value& value, bool compact);
// Positional words as one text, joined by single spaces, so that unquoted words work too.
std::string joinedWords(const std::vector<std::string>& words);
// One line "zeph: <message>" on standard error.
void warn(const std::string& message);
// The same line; returns the bad-usage status.
int fail(const std::string& message);
// The same line for an unknown id or nothing to show; returns the nothing-found status.
int notFound(const std::string& message);
// The --now option: the given ISO 8601 moment, else the present one.
Result<Date> presentDate(const std::optional<std::string>& now);
// --now, --time-zone and --locale, taken by every command that tells a moment in words.
struct DateOptions {
    std::optional<std::string> now {};
    std::optional<std::string> timeZone {};
    std::optional<std::string> locale {};
    // `moment` says what --now is, as in "The moment to render".
    void addTo(CLI::App& command, const std::string& moment);
    struct Chosen {
        Date now {};
        Calendar calendar {};
    };
    // The moment, else the present one, and the zone and locale, else the environment's; fails
    // for a moment that is no ISO 8601 date and for an unknown zone.
    Result<Chosen> chosen() const;
};

// A change made through the running application, for a document it keeps in memory: `change`
// returns whether to save, as for changeDocument. Nothing when no application runs on the data
// folder; the file is then the document.
template <typename Document, typename Change>
std::optional<Result<Document>> changeThroughApplication(
    const std::filesystem::path& folder, std::string_view fileName, Change& change)
{
    if (!Paths::isApplicationDocument(fileName))
        return std::nullopt;
    // A change of the application's own between reading and writing back refuses the write;
    // then the change is made again on what it holds now.
    for (int attempt = 0; attempt < 8; ++attempt) {
        auto held = RunningApplication::get(folder, fileName);
        if (!held)
            return std::nullopt;
        auto decoded = decodeDocument<Document>(held->text);
        auto document = decoded ? std::move(*decoded)
                                : Result<Document>(Error { "The application sent no JSON." });
        if (!document || !change(*document))
            return document;
        auto text = encodeDocument(*document);
        if (!text)
            return Result<Document>(text.error());
        auto refusal = RunningApplication::set(folder, fileName, *text, held->version);
        if (!refusal)
            return std::nullopt;
        if (refusal->empty())
            return document;
        if (*refusal != RunningApplication::staleRefusal)
            return Result<Document>(Error { *refusal });
    }
    return Result<Document>(Error { "The application kept changing " + std::string(fileName)
        + " while this change was made; nothing was changed." });
}

// A document read only to show it: nothing is locked or moved aside, for the document belongs to
// whoever changes it. A missing one gives `fallback`, and so does an undecodable one, after a
// warning that ends with `meanwhile`, what holds until the document is replaced.
template <typename Document>
Document documentToShow(const std::filesystem::path& folder, std::string_view fileName,
    Document fallback, std::string_view meanwhile)
{
    auto unchanged = [](Document&) { return false; };
    if (auto held = changeThroughApplication<Document>(folder, fileName, unchanged); held && *held)
        return std::move(**held);
    auto document = peekDocument<Document>(folder, std::string(fileName));
    if (!document) {
        warn(document.error().message + " Until it is replaced, " + std::string(meanwhile));
        return fallback;
    }
    return document->has_value() ? std::move(**document) : std::move(fallback);
}

// changeDocument, through the running application where it keeps the document, with a warning
// when the document could not be decoded and was moved aside; the warning ends with `startsFrom`,
// which says what the change started from instead.
template <typename Document, typename Change>
Result<Document> changeReporting(const std::filesystem::path& folder, std::string_view fileName,
    Document fallback, Change&& change, std::string_view startsFrom)
{
    if (auto changed = changeThroughApplication<Document>(folder, fileName, change))
        return std::move(*changed);
    auto result = changeDocument(
        folder, std::string(fileName), std::move(fallback), std::forward<Change>(change));
    if (!result)
        return result.error();
    if (result->loadError)
        warn(result->loadError->message + " It was moved aside to " + std::string(fileName)
            + std::string(Paths::corruptExtension) + std::string(startsFrom));
    return std::move(result->document);
}

} // namespace zeph::CommandLine
