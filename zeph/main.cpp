#include "CommandLine.h"

#include <cstdio>
#include <exception>

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
    addFilterCommand(app, action);
    addRankCommand(app, action);
    addMatchCommand(app, action);
    addPrepareCommand(app, action);
    addParseCommand(app, action);
    addCalcCommand(app, action);
    addWebCommand(app, action);
    addKeysCommand(app, action);
    addRenderCommand(app, action);
    addClipboardCommand(app, action, options);
    addSnippetsCommand(app, action, options);
    addConfigCommand(app, action, options);
    addThemesCommand(app, action, options);
    addLearnCommands(app, action, options);
    addTriggersCommand(app, action, options);
    addImportCommand(app, action, options);
    addWorkflowsCommand(app, action, options);
    addRunCommand(app, action, options);
    addFilterScriptCommand(app, action, options);
    addSearchCommands(app, action, options);
    addIndexCommands(app, action, options);
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
