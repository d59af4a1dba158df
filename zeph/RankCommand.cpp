#include "CommandLine.h"
#include "Search/Ranker.h"

#include <limits>

namespace zeph::CommandLine {

namespace {

struct RankOptions {
    std::string query;
    std::optional<int> limit;
    std::optional<std::string> boostsFile;
};

Result<std::vector<IndexedItem>> readItems()
{
    auto input = readStandardInput();
    if (!input)
        return input.error();
    auto json = Json::parse(input->text());
    if (!json || !json->is_array())
        return Error { "Standard input must be a JSON array of search items." };
    std::vector<IndexedItem> items;
    for (std::size_t index = 0; index < json->size(); ++index) {
        auto item = searchItemFromJSON((*json)[index]);
        if (!item)
            return Error { "Item " + std::to_string(index + 1) + " is not a search item: " + item.error().message };
        items.push_back(makeIndexedItem(std::move(*item)));
    }
    return items;
}

Result<Boosts> readBoosts(const std::string& path)
{
    auto text = InputBuffer::readFile(path);
    if (!text)
        return text.error();
    auto json = Json::parse(text->text());
    if (!json || !json->is_object())
        return Error { path + " must hold a JSON object of item ids to numbers." };
    Boosts boosts;
    for (auto& [id, value] : json->items()) {
        if (!value.is_number())
            return Error { "The boost of \"" + id + "\" in " + path + " must be a number." };
        boosts[id] = value.get<double>();
    }
    return boosts;
}

int run(const RankOptions& options)
{
    Boosts boosts;
    if (options.boostsFile) {
        auto read = readBoosts(*options.boostsFile);
        if (!read)
            return fail(read.error().message);
        boosts = std::move(*read);
    }
    auto items = readItems();
    if (!items)
        return fail(items.error().message);
    auto results = Ranker {}.rank(*items, makeQueryText(options.query), boosts,
        options.limit.value_or(std::numeric_limits<int>::max()));
    Json::Value json = Json::Value::array();
    for (auto& result : results)
        json.push_back(toJSON(result));
    printJSON(json);
    return results.empty() ? nothingFound : success;
}

} // namespace

void addRankCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("rank",
        "Rank the search items of a JSON array on standard input for QUERY, best first, as a JSON array.");
    auto options = std::make_shared<RankOptions>();
    command->add_option("query", options->query, "The typed text")->required();
    command->add_option("--limit", options->limit, "Keep at most this many results")->check(CLI::NonNegativeNumber);
    command->add_option("--boosts", options->boostsFile, "A JSON file of item ids to learned boosts");
    command->callback([&action, options] { action = [options] { return run(*options); }; });
}

} // namespace zeph::CommandLine
