#include "CommandLine.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    using namespace zeph::CommandLine;
    CLI::App app { "Zeph Launcher's command line: a fuzzy line filter, and the launcher's search core.", "zeph" };
    app.set_version_flag("--version", "zeph " ZEPH_VERSION);
    app.require_subcommand(1);
    Action action;
    addFilterCommand(app, action);
    addRankCommand(app, action);
    addMatchCommand(app, action);
    addPrepareCommand(app, action);
    addParseCommand(app, action);
    addCalcCommand(app, action);
    addWebCommand(app, action);
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
