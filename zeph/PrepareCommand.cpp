#include "CommandLine.h"
#include "Search/MatchText.h"

namespace zeph::CommandLine {

void addPrepareCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("prepare", "Print the folded characters of TEXT and where its words start.");
    auto text = std::make_shared<std::string>();
    command->add_option("text", *text, "The text to prepare")->required();
    command->callback([&action, text] {
        action = [text] {
            auto prepared = makeMatchText(*text);
            Json::Value chars = Json::Value::array();
            for (auto character : prepared.chars)
                chars.push_back(characterText(character));
            printJSON({ { "chars", chars }, { "wordStarts", prepared.wordStarts } });
            return success;
        };
    });
}

} // namespace zeph::CommandLine
