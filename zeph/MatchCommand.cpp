#include "CommandLine.h"
#include "Search/FuzzyMatcher.h"

namespace zeph::CommandLine {

void addMatchCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("match", "Match QUERY against TARGET: the score and the matched positions.");
    auto query = std::make_shared<std::string>();
    auto target = std::make_shared<std::string>();
    command->add_option("query", *query, "The typed text")->required();
    command->add_option("target", *target, "The text to match")->required();
    command->callback([&action, query, target] {
        action = [query, target] {
            auto match = FuzzyMatcher::match(makeQueryText(*query), makeMatchText(*target));
            if (!match) {
                printJSON(nullptr);
                return nothingFound;
            }
            printJSON({ { "score", match->score }, { "indices", match->indices } });
            return success;
        };
    });
}

} // namespace zeph::CommandLine
