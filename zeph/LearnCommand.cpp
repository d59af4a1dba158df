#include "CommandLine.h"
#include "Search/KnowledgeBase.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

using Snapshot = KnowledgeBase::Snapshot;

// Changes what was learned under the data folder's lock; `change` returns whether to save.
template <typename Change>
Result<Snapshot> changeKnowledge(const GlobalOptions& global, Change change)
{
    return changeReporting(
        global.dataFolder(), Paths::knowledgeFile, Snapshot {},
        [&](Snapshot& snapshot) {
            KnowledgeBase knowledge(std::move(snapshot));
            change(knowledge);
            snapshot = knowledge.snapshot();
            return knowledge.isDirty();
        },
        ", and learning starts afresh.");
}

struct LearnOptions {
    std::optional<std::string> now {};
    bool json = false;
    std::string itemID {};
    std::vector<std::string> query {};
    std::optional<std::string> forgetID {};
};

int learn(const LearnOptions& options, const GlobalOptions& global)
{
    auto now = presentDate(options.now);
    if (!now)
        return fail(now.error().message);
    auto query = joinedWords(options.query);
    if (KnowledgeBase::queryKey(query).empty())
        return fail("There is nothing to learn under a query without characters.");
    auto changed = changeKnowledge(
        global, [&](KnowledgeBase& knowledge) { knowledge.record(query, options.itemID, *now); });
    return changed ? success : fail(changed.error().message);
}

int boosts(const LearnOptions& options, const GlobalOptions& global)
{
    auto now = presentDate(options.now);
    if (!now)
        return fail(now.error().message);
    KnowledgeBase knowledge(documentToShow(
        global.dataFolder(), Paths::knowledgeFile, Snapshot {}, "nothing learned applies."));
    auto boosts = knowledge.boosts(joinedWords(options.query), *now);
    std::vector<std::pair<std::string, double>> ordered(boosts.begin(), boosts.end());
    std::sort(ordered.begin(), ordered.end(), [](auto& first, auto& second) {
        return first.second != second.second ? first.second > second.second
                                             : first.first < second.first;
    });
    for (auto& [id, boost] : ordered) {
        if (options.json)
            printJSON({ { "id", id }, { "boost", boost } });
        else
            std::printf("%s\t%s\n", id.c_str(), Json::Value(boost).dump().c_str());
    }
    return ordered.empty() ? nothingFound : success;
}

int forget(const std::optional<std::string>& itemID, const GlobalOptions& global)
{
    bool found = true;
    auto changed = changeKnowledge(global, [&](KnowledgeBase& knowledge) {
        if (itemID)
            found = knowledge.forget(*itemID);
        else
            knowledge.reset();
    });
    if (!changed)
        return fail(changed.error().message);
    if (!found)
        return notFound("Nothing was learned for \"" + *itemID + "\".");
    return success;
}

} // namespace

void addLearnCommands(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto options = std::make_shared<LearnOptions>();
    auto addNow = [&](CLI::App* command) {
        command->add_option("--now", options->now, "The present moment, ISO 8601 (default: now)");
    };

    auto* learnCommand = app.add_subcommand("learn",
        "Record that the user picked ITEM-ID after typing QUERY, as the launcher learns its "
        "ranking, in knowledge.json.");
    addNow(learnCommand);
    learnCommand->add_option("item-id", options->itemID, "The id of the chosen item")->required();
    learnCommand->add_option("query", options->query, "What was typed; words are joined by spaces")
        ->required();
    learnCommand->callback([&action, &global, options] {
        action = [&global, options] { return learn(*options, global); };
    });

    auto* boostsCommand = app.add_subcommand("boosts",
        "Print the boost that what was learned gives each item for QUERY (from 0 to below 1), "
        "best first: id and boost. Exit status 1 when nothing was learned that applies.");
    addNow(boostsCommand);
    boostsCommand->add_flag("--json", options->json, "One JSON object a line: id and boost");
    boostsCommand->add_option("query", options->query, "What is typed")->required();
    boostsCommand->callback([&action, &global, options] {
        action = [&global, options] { return boosts(*options, global); };
    });

    auto* forgetCommand = app.add_subcommand("forget",
        "Remove what was learned about ITEM-ID under every query, or without ITEM-ID everything "
        "learned. Exit status 1 when nothing was learned for ITEM-ID.");
    forgetCommand->add_option("item-id", options->forgetID, "The id of the item");
    forgetCommand->callback([&action, &global, options] {
        action = [&global, options] { return forget(options->forgetID, global); };
    });
}

} // namespace zeph::CommandLine
