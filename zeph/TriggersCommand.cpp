#include "CommandLine.h"
#include "Snippets/ExpansionMatcher.h"
#include "Storage/AppSettings.h"
#include "Support/Text.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct TriggersOptions {
    std::vector<std::string> words {};
    std::optional<std::string> app {};
    bool json = false;
};

// Types the text as the expander would see it, one key event a character, and prints each
// expansion with the position of the character that completed it.
int triggers(const TriggersOptions& options, const GlobalOptions& global)
{
    auto folder = global.dataFolder();
    auto settings
        = documentToShow(folder, Paths::settingsFile, AppSettings {}, "the defaults apply.")
              .snippets;
    auto collections = snippetCollections(global);
    if (!collections)
        return fail(collections.error().message);
    if (!settings.autoExpand)
        return notFound("Nothing expands while typing: \"autoExpand\" is off in the settings.");
    if (options.app
        && std::any_of(settings.excludedBundleIDs.begin(), settings.excludedBundleIDs.end(),
            [&](const std::string& excluded) {
                return equalIgnoringASCIICase(excluded, *options.app);
            }))
        return notFound("Nothing expands in \"" + *options.app + "\": the settings exclude it.");

    ExpansionMatcher matcher(
        ExpansionTrigger::triggers(*collections), settings.requireWordBoundary);
    auto text = sanitizedUTF8(joinedWords(options.words));
    std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(text, boundaries);
    std::size_t fired = 0;
    for (std::size_t index = 0; index + 1 < boundaries.size(); ++index) {
        auto character = std::string_view(text).substr(
            boundaries[index], boundaries[index + 1] - boundaries[index]);
        // Return and Tab end the line, and Delete takes back one character, as in the expander.
        if (character == "\n" || character == "\r" || character == "\r\n" || character == "\t") {
            matcher.reset();
            continue;
        }
        if (character == "\b" || character == "\x7f") {
            matcher.deleteBackward();
            continue;
        }
        auto* trigger = matcher.feed(character, options.app);
        if (!trigger)
            continue;
        ++fired;
        auto erase = graphemeCount(trigger->text);
        if (options.json) {
            printJSON({ { "position", index + 1 }, { "snippetID", trigger->snippet.id },
                { "collectionID", trigger->collectionID }, { "text", trigger->text },
                { "erase", erase } });
        } else {
            std::printf("%zu\t%s\t%zu\t%s\n", index + 1, trigger->snippet.id.c_str(), erase,
                trigger->text.c_str());
        }
        matcher.reset();
    }
    return fired ? success : nothingFound;
}

} // namespace

void addTriggersCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto* command = app.add_subcommand("triggers",
        "Type TEXT character by character as the snippet expander sees it, and print each "
        "expansion that fires: the position of the character that completes it, the snippet's "
        "id, how many characters are erased, and the trigger. A line break or tab clears what "
        "was typed, as Return and Tab do; a backspace (U+0008 or U+007F) takes back one "
        "character.");
    auto options = std::make_shared<TriggersOptions>();
    command->add_option("text", options->words, "What is typed; words are joined by spaces")
        ->required();
    command->add_option(
        "--app", options->app, "The application typed into: its desktop file id or window class");
    command->add_flag("--json", options->json,
        "One JSON object an expansion: position, snippetID, collectionID, text, erase");
    command->callback([&action, &global, options] {
        action = [&global, options] { return triggers(*options, global); };
    });
}

} // namespace zeph::CommandLine
