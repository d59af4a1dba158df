#include "CommandLine.h"
#include "Search/WebSearch.h"

#include <cstdio>

namespace zeph::CommandLine {

namespace {

struct WebOptions {
    bool json = false;
    std::string keyword;
    std::vector<std::string> queryWords;
};

int list(std::span<const WebSearch> searches, bool json)
{
    for (auto& search : searches) {
        if (json)
            printJSON(toJSON(search));
        else
            std::printf(
                "%s\t%s\t%s\n", search.keyword.c_str(), search.name.c_str(), search.url.c_str());
    }
    return success;
}

int printURL(std::span<const WebSearch> searches, const WebOptions& options)
{
    auto* search = findWebSearch(searches, options.keyword);
    if (!search)
        return nothingFound;
    // The address the launcher's row would open, so the query is trimmed as there.
    auto url = search->item(joinedWords(options.queryWords)).argument;
    if (!url)
        return nothingFound;
    std::printf("%s\n", url->c_str());
    return success;
}

} // namespace

void addWebCommand(CLI::App& app, Action& action)
{
    auto* command
        = app.add_subcommand("web", "List the web searches, or print the address a search opens.");
    auto options = std::make_shared<WebOptions>();
    command->add_flag("--json", options->json, "Print each web search as JSON with all its fields");
    auto* url = command->add_subcommand("url", "Print the address that KEYWORD opens for QUERY.");
    url->add_option("keyword", options->keyword, "The keyword of a web search, such as g")
        ->required();
    url->add_option("query", options->queryWords,
        "The words to search for; several words are joined by spaces");
    // The settings will hand their own list here; until then every user has the defaults.
    const auto& searches = WebSearch::defaults();
    command->callback([&action, options, url, &searches] {
        if (url->parsed())
            action = [options, &searches] { return printURL(searches, *options); };
        else
            action = [options, &searches] { return list(searches, options->json); };
    });
}

} // namespace zeph::CommandLine
