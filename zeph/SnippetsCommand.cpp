#include "CommandLine.h"
#include "Snippets/Snippet.h"
#include "Storage/JSONFileStore.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

int listSnippets(bool json, const GlobalOptions& global)
{
    auto collections = snippetCollections(global);
    if (!collections)
        return fail(collections.error().message);
    auto marks = [](bool isEnabled, bool pendingReview) {
        return std::string(isEnabled ? "" : " (disabled)")
            + (pendingReview ? " (pending review)" : "");
    };
    for (auto& collection : *collections) {
        if (json) {
            printJSON(toJSON(collection));
            continue;
        }
        std::printf("%s%s\n", collection.name.c_str(), marks(collection.isEnabled, false).c_str());
        for (auto& snippet : collection.snippets) {
            std::printf("  %s\t%s%s\n", collection.triggerText(snippet).value_or("-").c_str(),
                snippet.name.c_str(), marks(snippet.isEnabled, snippet.pendingReview).c_str());
        }
    }
    return success;
}

} // namespace

Result<std::vector<SnippetCollection>> snippetCollections(const GlobalOptions& global)
{
    // Read under the lock, as every process that shares the folder does; the starter collection
    // stands in for a missing document, as in the application.
    using Collections = std::vector<SnippetCollection>;
    return changeReporting(
        global.dataFolder(), Paths::snippetsFile, Collections { SnippetCollection::starter() },
        [](Collections&) { return false; }, ".");
}

void addSnippetsCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto* snippets
        = app.add_subcommand("snippets", "Show the snippet collections of the data folder.");
    snippets->require_subcommand(1);
    auto* listCommand = snippets->add_subcommand("list",
        "Print each collection and its snippets with their triggers; the starter collection when "
        "there is no "
        "snippets.json.");
    auto json = std::make_shared<bool>(false);
    listCommand->add_flag(
        "--json", *json, "One JSON object a collection, as snippets.json holds it");
    listCommand->callback(
        [&action, &global, json] { action = [&global, json] { return listSnippets(*json, global); }; });
}

} // namespace zeph::CommandLine
