#include "CommandLine.h"
#include "Search/QueryParser.h"

namespace zeph::CommandLine {

void addParseCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("parse", "Tell the mode, term, keyword and argument of typed TEXT.");
    auto text = std::make_shared<std::string>();
    command->add_option("text", *text, "The typed text, exactly as typed")->required();
    command->callback([&action, text] {
        action = [text] {
            auto parsed = QueryParser::parse(*text);
            Json::Value json { { "mode", toString(parsed.mode) }, { "term", parsed.term }, { "keyword", parsed.keyword } };
            if (parsed.argument)
                json["argument"] = *parsed.argument;
            printJSON(json);
            return success;
        };
    });
}

} // namespace zeph::CommandLine
