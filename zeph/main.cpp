#include "CommandLine.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string_view>

namespace {

using namespace zeph::CommandLine;

template <void (*add)(CLI::App&, Action&)> void withoutOptions(CLI::App& app, Action& action, const GlobalOptions&)
{
    add(app, action);
}

} // namespace

int main(int argc, char** argv)
{
    using namespace zeph::CommandLine;
    CLI::App app {
        "Zeph Launcher's command line: a fuzzy line filter, the launcher's search core, key "
        "combinations, snippets, a clipboard history, the settings, themes, learned ranking and "
        "workflows.",
        "zeph"
    };
    app.set_version_flag("--version", "zeph " ZEPH_VERSION);
    app.require_subcommand(1);
    // So that the option may also follow the command: "zeph clipboard list --data-dir DIR".
    app.fallthrough();
    GlobalOptions options;
    app.add_option("--data-dir", options.dataDirectory,
        "The data folder (default: ZEPH_DATA_DIR, else $XDG_DATA_HOME/Zeph Launcher or "
        "~/.local/share/Zeph Launcher)");
    Action action;
    // A run builds only the parser of the command it names, when it names one first: building
    // them all costs a filter run a few tenths of a millisecond. Otherwise (help, a global option
    // first, a mistake) it builds them all.
    using Adder = void (*)(CLI::App&, Action&, const GlobalOptions&);
    struct Command {
        std::array<std::string_view, 3> names;
        Adder add;
    };
    static const Command commands[] = {
        { { "filter" }, withoutOptions<addFilterCommand> },
        { { "rank" }, withoutOptions<addRankCommand> },
        { { "match" }, withoutOptions<addMatchCommand> },
        { { "prepare" }, withoutOptions<addPrepareCommand> },
        { { "parse" }, withoutOptions<addParseCommand> },
        { { "calc" }, withoutOptions<addCalcCommand> },
        { { "web" }, withoutOptions<addWebCommand> },
        { { "keys" }, withoutOptions<addKeysCommand> },
        { { "render" }, withoutOptions<addRenderCommand> },
        { { "clipboard" }, addClipboardCommand },
        { { "snippets" }, addSnippetsCommand },
        { { "config" }, addConfigCommand },
        { { "themes" }, addThemesCommand },
        { { "learn", "boosts", "forget" }, addLearnCommands },
        { { "triggers" }, addTriggersCommand },
        { { "import" }, addImportCommand },
        { { "workflows" }, addWorkflowsCommand },
        { { "run" }, addRunCommand },
        { { "filter-script" }, addFilterScriptCommand },
        { { "search", "apps" }, addSearchCommands },
        { { "index", "files" }, addIndexCommands },
    };
    std::string_view first = argc > 1 ? argv[1] : "";
    auto named = std::find_if(std::begin(commands), std::end(commands), [&](const Command& command) {
        return !first.empty() && std::find(command.names.begin(), command.names.end(), first) != command.names.end();
    });
    if (named != std::end(commands)) {
        named->add(app, action, options);
    } else {
        for (auto& command : commands)
            command.add(app, action, options);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        return fail(error.what());
    }
    try {
        return action ? action() : badUsage;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "zeph: %s\n", exception.what());
        return badUsage;
    }
}
