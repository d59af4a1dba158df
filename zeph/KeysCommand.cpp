#include "CommandLine.h"
#include "Storage/KeyCombo.h"

#include <memory>

namespace zeph::CommandLine {

namespace {

Json::Value describe(const KeyCombo& combo)
{
    auto json = toJSON(combo);
    json["display"] = combo.displayString();
    json["text"] = combo.textForm();
    return json;
}

} // namespace

void addKeysCommand(CLI::App& app, Action& action)
{
    auto* keys
        = app.add_subcommand("keys", "Read and show key combinations as stored combos keep them.");
    keys->require_subcommand(1);

    auto* parse = keys->add_subcommand("parse",
        "Print the key code, modifiers, glyphs and text form of a combination such as "
        "\"cmd+shift+k\".");
    auto text = std::make_shared<std::string>();
    parse->add_option("text", *text, "The combination, its parts joined by \"+\"")->required();
    parse->callback([&action, text] {
        action = [text] {
            auto combo = KeyCombo::parse(*text);
            if (!combo)
                return fail("\"" + *text
                    + "\" is not a key combination such as \"cmd+shift+k\" or \"opt+space\".");
            printJSON(describe(*combo));
            return int(success);
        };
    });

    auto* show = keys->add_subcommand(
        "show", "Print the same object for a stored key code and modifier bits.");
    auto combo = std::make_shared<KeyCombo>();
    show->add_option("keycode", combo->keyCode, "The virtual key code")->required();
    show->add_option("modifiers", combo->modifiers.rawValue,
            "The modifier bits: command 1, option 2, control 4, shift 8")
        ->required();
    show->callback([&action, combo] {
        action = [combo] {
            printJSON(describe(*combo));
            return int(success);
        };
    });
}

} // namespace zeph::CommandLine
