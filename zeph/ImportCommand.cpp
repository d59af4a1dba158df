#include "CommandLine.h"
#include "Snippets/AlfredSnippetImporter.h"

#include <cstdio>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct ImportOptions {
    std::vector<std::string> files {};
    bool dryRun = false;
    bool json = false;
};

int importPacks(const ImportOptions& options, const GlobalOptions& global)
{
    std::vector<std::filesystem::path> files(options.files.begin(), options.files.end());
    std::error_code error;
    auto temporary = std::filesystem::temp_directory_path(error);
    if (error)
        return fail("There is no temporary folder to unpack into: " + error.message() + ".");
    auto imported = AlfredSnippetImporter::importPacks(files, temporary);

    if (!options.dryRun && !imported.collections.empty()) {
        // Appended under the folder's lock, as every writer from outside the application does;
        // the starter collection stands in for a missing document, as in the application.
        using Collections = std::vector<SnippetCollection>;
        auto changed = changeReporting(
            global.dataFolder(), Paths::snippetsFile, Collections { SnippetCollection::starter() },
            [&](Collections& collections) {
                collections.insert(
                    collections.end(), imported.collections.begin(), imported.collections.end());
                return true;
            },
            ", and the imported collections were added to the starter collection.");
        if (!changed)
            return fail(changed.error().message);
    }
    for (auto& collection : imported.collections) {
        if (options.json) {
            printJSON(toJSON(collection));
            continue;
        }
        std::printf("%s \"%s\": %zu snippet%s\n", options.dryRun ? "Would add" : "Added",
            collection.name.c_str(), collection.snippets.size(),
            collection.snippets.size() == 1 ? "" : "s");
        for (auto& snippet : collection.snippets) {
            std::printf("  %s\t%s\n", collection.triggerText(snippet).value_or("-").c_str(),
                snippet.name.c_str());
        }
    }
    for (auto& message : imported.errors)
        warn(message);
    return imported.errors.empty() ? success : badUsage;
}

} // namespace

void addImportCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto* command = app.add_subcommand("import",
        "Import snippet packs (.alfredsnippets) as new collections at the end of snippets.json, "
        "each named after its file, and print what was added. A pack that fails is reported by "
        "its file name and the others are still added.");
    auto options = std::make_shared<ImportOptions>();
    command->add_option("files", options->files, "The packs, in the order to add them")->required();
    command->add_flag("--dry-run", options->dryRun, "Read the packs but change nothing");
    command->add_flag(
        "--json", options->json, "One JSON object a collection added, as snippets.json holds it");
    command->callback([&action, &global, options] {
        action = [&global, options] { return importPacks(*options, global); };
    });
}

} // namespace zeph::CommandLine
