#include "CommandLine.h"
#include "Snippets/SnippetTemplate.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct RenderOptions {
    std::vector<std::string> words {};
    DateOptions dates {};
    std::string clipboard {};
    std::vector<std::string> fills {};
    bool json = false;
};

int render(const RenderOptions& options)
{
    auto dates = options.dates.chosen();
    if (!dates)
        return fail(dates.error().message);
    SnippetTemplate::Context context { .date = dates->now,
        .clipboard = options.clipboard,
        .locale = dates->calendar.locale,
        .timeZone = dates->calendar.timeZone };
    for (auto& fill : options.fills) {
        auto equals = fill.find('=');
        if (equals == std::string::npos)
            return fail("--fill \"" + fill + "\" is not NAME=VALUE.");
        context.fills[fill.substr(0, equals)] = fill.substr(equals + 1);
    }

    std::string text;
    if (options.words.empty()) {
        auto input = readStandardInput();
        if (!input)
            return fail(input.error().message);
        text = input->text();
    } else {
        text = joinedWords(options.words);
    }
    auto rendered = SnippetTemplate::render(text, context);
    if (!options.json) {
        std::fwrite(rendered.text.data(), 1, rendered.text.size(), stdout);
        return success;
    }
    Json::Value fields = Json::Value::array();
    for (auto& field : SnippetTemplate::fillFields(text))
        fields.push_back({ { "name", field.name }, { "defaultValue", field.defaultValue } });
    Json::Value json { { "text", rendered.text }, { "fillFields", std::move(fields) } };
    if (rendered.cursorOffsetFromEnd)
        json["cursorOffsetFromEnd"] = *rendered.cursorOffsetFromEnd;
    printJSON(json);
    return success;
}

} // namespace

void addRenderCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("render",
        "Render a snippet template, TEMPLATE or else standard input, and print the text exactly, "
        "with no line break added.");
    auto options = std::make_shared<RenderOptions>();
    command->add_option("template", options->words, "The template; words are joined by spaces");
    options->dates.addTo(*command, "The moment to render");
    command->add_option(
        "--clipboard", options->clipboard, "What {clipboard} shows (default: nothing)");
    command
        ->add_option("--fill", options->fills,
            "NAME=VALUE for {fill:NAME}; repeat for more fields, the others take their defaults")
        ->allow_extra_args(false);
    command->add_flag("--json", options->json,
        "One JSON object: the text, the fill-in fields the template asks for and, with "
        "{cursor}, the characters after the caret");
    command->callback([&action, options] { action = [options] { return render(*options); }; });
}

} // namespace zeph::CommandLine
