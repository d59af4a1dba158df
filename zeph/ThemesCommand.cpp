#include "CommandLine.h"
#include "Storage/Theme.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

ThemeLibrary library(const GlobalOptions& global)
{
    return documentToShow(global.dataFolder(), Paths::themesFile, ThemeLibrary {},
        "only the built-in themes are there.");
}

int listThemes(bool json, const GlobalOptions& global)
{
    for (auto& theme : library(global).all()) {
        if (json)
            printJSON(toJSON(theme));
        else
            std::printf("%s\t%s\t%s\n", theme.id.c_str(), theme.name.c_str(),
                theme.isBuiltIn ? "built-in" : "custom");
    }
    return success;
}

int showTheme(const std::string& id, bool json, const GlobalOptions& global)
{
    auto themes = library(global);
    auto* theme = themes.find(id);
    if (!theme)
        return notFound("No theme has the id \"" + id + "\"; `zeph themes` lists them.");
    return printRecord(toJSON(*theme), json);
}

struct ThemeOptions {
    bool json = false;
    std::string id {};
};

} // namespace

void addThemesCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto options = std::make_shared<ThemeOptions>();
    auto* themes = app.add_subcommand("themes",
        "List the built-in themes and the user's own from themes.json: id, name, and whether it "
        "is built in.");
    themes->require_subcommand(0, 1);
    themes->add_flag("--json", options->json, "One JSON object a theme, as themes.json holds it");

    auto* showCommand = themes->add_subcommand(
        "show", "Print one theme with every colour and metric, as themes.json holds it.");
    showCommand->add_flag("--json", options->json, "As one compact line");
    showCommand->add_option("id", options->id, "The theme's id")->required();
    showCommand->callback([&action, &global, options] {
        action = [&global, options] { return showTheme(options->id, options->json, global); };
    });

    themes->callback([&action, &global, themes, options] {
        if (themes->get_subcommands().empty())
            action = [&global, options] { return listThemes(options->json, global); };
    });
}

} // namespace zeph::CommandLine
