#include "Clipboard/ClipboardCapture.h"
#include "Clipboard/RelativeTime.h"
#include "CommandLine.h"
#include "Storage/AppSettings.h"
#include "Storage/JSONFileStore.h"
#include "Support/Text.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace zeph::CommandLine {

namespace {

struct AddOptions {
    std::optional<std::string> text {};
    std::optional<std::string> now {};
    std::vector<std::string> types {};
    std::optional<std::string> sourceApp {};
    std::optional<std::string> sourceID {};
};

struct ListOptions {
    bool json = false;
    DateOptions dates {};
};

// The clipboard part of the settings, read but never written here. A missing or undecodable
// document gives the defaults, as it does the application.
ClipboardSettings clipboardSettings(const std::filesystem::path& folder)
{
    return documentToShow(folder, Paths::settingsFile, AppSettings {}, "the defaults apply.")
        .clipboard;
}

// Changes the history under the data folder's lock; `change` returns whether to save.
template <typename Change>
Result<ClipboardHistory> changeHistory(const std::filesystem::path& folder, Change change)
{
    return changeReporting(folder, Paths::clipboardFile, ClipboardHistory {}, change,
        ", and the history starts empty.");
}

int add(const AddOptions& options, const GlobalOptions& global)
{
    auto now = presentDate(options.now);
    if (!now)
        return fail(now.error().message);
    auto* state = std::getenv("CLIPBOARD_STATE");
    if (ClipboardCapture::isIgnored(options.types, state ? state : ""))
        return success;
    auto folder = global.dataFolder();
    auto settings = clipboardSettings(folder);
    if (!settings.enabled
        || (options.sourceID
            && ClipboardCapture::isExcludedApplication(*options.sourceID, settings)))
        return success;

    std::string bytes;
    if (options.text) {
        bytes = *options.text;
    } else {
        auto input = readStandardInput();
        if (!input)
            return fail(input.error().message);
        bytes = input->text();
    }
    ClipboardCapture::Source source { .app = options.sourceApp, .bundleID = options.sourceID };
    auto imagesFolder = folder / Paths::clipboardImagesFolder;
    std::optional<ClipboardItem> item;
    if (ClipboardCapture::pngSize(bytes)) {
        if (!settings.includeImages)
            return success;
        auto image = ClipboardCapture::imageItem(bytes, imagesFolder, *now, source);
        if (!image)
            return fail(image.error().message);
        item = std::move(*image);
    } else {
        item = ClipboardCapture::textItem(sanitizedUTF8(bytes), *now, source);
        if (!item)
            return success;
    }

    std::vector<ClipboardItem> removed;
    auto changed = changeHistory(folder, [&](ClipboardHistory& history) {
        removed = history.add(*item, settings.maxItems);
        auto aged = history.prune(settings, *now);
        std::move(aged.begin(), aged.end(), std::back_inserter(removed));
        return true;
    });
    if (!changed) {
        ClipboardCapture::deleteImageFiles({ *item }, imagesFolder);
        return fail(changed.error().message);
    }
    ClipboardCapture::deleteImageFiles(removed, imagesFolder);
    return success;
}

int list(const ListOptions& options, const GlobalOptions& global)
{
    auto dates = options.dates.chosen();
    if (!dates)
        return fail(dates.error().message);
    auto history = changeHistory(global.dataFolder(), [](ClipboardHistory&) { return false; });
    if (!history)
        return fail(history.error().message);
    history->sort();
    for (auto& item : history->items) {
        auto age = RelativeTime::long_(item.date, dates->now, dates->calendar);
        if (options.json) {
            auto json = toJSON(item);
            json["age"] = age;
            printJSON(json);
        } else {
            std::printf("%s\t%s\t%s\t%s\t%s\n", item.id.c_str(),
                std::string(toString(item.kind)).c_str(), item.pinned ? "pinned" : "-", age.c_str(),
                std::string(item.firstLine()).c_str());
        }
    }
    return success;
}

enum class EntryChange { pin, unpin, remove };

int changeEntry(const std::string& id, EntryChange change, const GlobalOptions& global)
{
    auto folder = global.dataFolder();
    bool found = false;
    std::optional<ClipboardItem> removed;
    auto changed = changeHistory(folder, [&](ClipboardHistory& history) {
        found = history.item(id) != nullptr;
        if (!found)
            return false;
        if (change == EntryChange::remove)
            removed = history.remove(id);
        else
            history.setPinned(id, change == EntryChange::pin);
        return true;
    });
    if (!changed)
        return fail(changed.error().message);
    if (!found)
        return notFound("No clipboard entry has the id \"" + id + "\".");
    if (removed)
        ClipboardCapture::deleteImageFiles({ *removed }, folder / Paths::clipboardImagesFolder);
    return success;
}

int clear(bool all, const GlobalOptions& global)
{
    auto folder = global.dataFolder();
    std::vector<ClipboardItem> removed;
    auto changed = changeHistory(folder, [&](ClipboardHistory& history) {
        removed = history.removeAll(/*keepingPinned=*/!all);
        return !removed.empty();
    });
    if (!changed)
        return fail(changed.error().message);
    ClipboardCapture::deleteImageFiles(removed, folder / Paths::clipboardImagesFolder);
    return success;
}

void addEntryCommand(CLI::App& clipboard, Action& action, const GlobalOptions& global,
    const char* name, const char* description, EntryChange change)
{
    auto* command = clipboard.add_subcommand(name, description);
    auto id = std::make_shared<std::string>();
    command->add_option("id", *id, "The entry's id, as `zeph clipboard list` shows it")->required();
    command->callback([&action, &global, id, change] {
        action = [&global, id, change] { return changeEntry(*id, change, global); };
    });
}

} // namespace

void addClipboardCommand(CLI::App& app, Action& action, const GlobalOptions& global)
{
    auto* clipboard = app.add_subcommand("clipboard",
        "Keep a clipboard history in the data folder, with the launcher's rules: classification, "
        "repeats moved up, "
        "pins, limits and ageing out.");
    clipboard->require_subcommand(1);

    auto* addCommand = clipboard->add_subcommand("add",
        "Record TEXT, else standard input (a PNG there becomes an image entry), as in `wl-paste "
        "--watch zeph "
        "clipboard add`. Concealed, transient and password-manager content is not recorded, nor "
        "anything while "
        "CLIPBOARD_STATE is \"sensitive\".");
    auto addOptions = std::make_shared<AddOptions>();
    addCommand->add_option("text", addOptions->text, "The copied text; standard input when absent");
    addCommand->add_option(
        "--now", addOptions->now, "The moment of the copy, ISO 8601 (default: now)");
    addCommand
        ->add_option(
            "--types", addOptions->types, "The MIME types the copy was offered in, comma-separated")
        ->delimiter(',');
    addCommand->add_option(
        "--source-app", addOptions->sourceApp, "The name of the application copied from");
    addCommand->add_option("--source-id", addOptions->sourceID,
        "The id of the application copied from; the excluded applications of the settings are not "
        "recorded");
    addCommand->callback([&action, &global, addOptions] {
        action = [&global, addOptions] { return add(*addOptions, global); };
    });

    auto* listCommand = clipboard->add_subcommand("list",
        "Print the history, pinned entries first and then newest first: id, kind, pin, age and "
        "first line.");
    auto listOptions = std::make_shared<ListOptions>();
    listCommand->add_flag(
        "--json", listOptions->json, "One JSON object a line, with the age in words under \"age\"");
    listOptions->dates.addTo(*listCommand, "The moment ages count to");
    listCommand->callback([&action, &global, listOptions] {
        action = [&global, listOptions] { return list(*listOptions, global); };
    });

    addEntryCommand(*clipboard, action, global, "pin",
        "Pin an entry: it stays on top and is never removed by limits.", EntryChange::pin);
    addEntryCommand(*clipboard, action, global, "unpin", "Unpin an entry.", EntryChange::unpin);
    addEntryCommand(*clipboard, action, global, "delete", "Delete an entry and its image file.",
        EntryChange::remove);

    auto* clearCommand
        = clipboard->add_subcommand("clear", "Delete every entry that is not pinned.");
    auto all = std::make_shared<bool>(false);
    clearCommand->add_flag("--all", *all, "Delete the pinned entries too");
    clearCommand->callback(
        [&action, &global, all] { action = [&global, all] { return clear(*all, global); }; });
}

} // namespace zeph::CommandLine
