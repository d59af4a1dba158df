#include "Logic/ItemOperations.h"

#include "Support/Text.h"
#include "Support/UUID.h"

#include <fstream>
#include <sstream>

namespace zeph {

namespace {

using namespace std::chrono_literals;

constexpr auto savedSnippetsName = "Saved from Clipboard";

struct Confirmation {
    std::string question {};
    std::string action {};
};

std::optional<Confirmation> confirmation(SystemCommand command)
{
    switch (command) {
    case SystemCommand::emptyTrash:
        return Confirmation { "Zeph Launcher will empty the trash. This cannot be undone.",
            "Empty Trash" };
    case SystemCommand::logOut:
        return Confirmation { "Zeph Launcher will log out. Unsaved work may be lost.", "Log Out" };
    case SystemCommand::restart:
        return Confirmation { "Zeph Launcher will restart the computer.", "Restart" };
    case SystemCommand::shutDown:
        return Confirmation { "Zeph Launcher will shut down the computer.", "Shut Down" };
    default:
        return std::nullopt;
    }
}

// Whether text reads as an address with a scheme ("https://…", "mailto:…").
bool isAddress(std::string_view text)
{
    auto colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0)
        return false;
    return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || c == '+' || c == '-' || c == '.';
    }) && text.find_first_of(" \t\n") == std::string_view::npos;
}

} // namespace

ItemOperations::ItemOperations(Services services)
    : m_services(services)
{
}

void ItemOperations::open(const SearchItem& item)
{
    auto& desktop = m_services.desktop;
    switch (item.kind) {
    case ItemKind::application:
        if (item.path)
            desktop.launchApplication(*item.path);
        break;
    case ItemKind::systemSetting:
        // A settings panel is a desktop entry of its own.
        if (item.path)
            desktop.launchApplication(*item.path);
        break;
    case ItemKind::webSearch:
        if (item.argument && isAddress(*item.argument))
            desktop.openURL(*item.argument);
        break;
    case ItemKind::folder:
    case ItemKind::file:
        if (item.path)
            desktop.openFile(*item.path, std::nullopt);
        break;
    default:
        break;
    }
}

void ItemOperations::copyText(const std::string& text)
{
    m_services.clipboard.setContents(ClipboardContents::text(text));
}

void ItemOperations::pasteText(const std::string& text)
{
    m_services.snippets.insertText(text);
}

std::optional<std::string> ItemOperations::imageBytes(const ClipboardItem& item) const
{
    if (!item.imageFile)
        return std::nullopt;
    std::ifstream file(
        m_services.model.clipboardImagesFolder() / *item.imageFile, std::ios::binary);
    if (!file)
        return std::nullopt;
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void ItemOperations::pasteClipboard(const ClipboardItem& item, bool plainText)
{
    m_services.loop.schedule(focusDelay, [this, item, plainText] {
        auto restore = m_services.model.settings().get().snippets.restoreClipboard;
        auto image
            = plainText || item.kind != ClipboardKind::image ? std::nullopt : imageBytes(item);
        if (image)
            m_services.inserter.insert(ClipboardContents::image(std::move(*image)), restore);
        else
            m_services.inserter.insert(item.text, restore);
    });
}

void ItemOperations::copyClipboard(const ClipboardItem& item)
{
    m_services.inserter.ignoreCaptures(1000ms);
    auto image = item.kind == ClipboardKind::image ? imageBytes(item) : std::nullopt;
    m_services.clipboard.setContents(
        image ? ClipboardContents::image(std::move(*image)) : ClipboardContents::text(item.text));
}

bool ItemOperations::saveAsSnippet(const ClipboardItem& item)
{
    if (item.kind == ClipboardKind::image) {
        beep();
        return false;
    }
    // The first line that holds something names it, shortened past 40 characters.
    std::string name;
    auto text = sanitizedUTF8(item.text);
    std::string_view rest = text;
    while (!rest.empty() && name.empty()) {
        auto end = rest.find('\n');
        name = std::string(trimmedWhitespaceAndNewlines(rest.substr(0, end)));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    std::vector<std::uint32_t> boundaries;
    graphemeBoundaries(name, boundaries);
    if (boundaries.size() > 41) // 40 characters and the end.
        name = name.substr(0, boundaries[39]) + "…";
    m_services.model.snippetCollections().change([&](std::vector<SnippetCollection>& collections) {
        auto found = std::find_if(
            collections.begin(), collections.end(), [](const SnippetCollection& collection) {
                return collection.name == savedSnippetsName;
            });
        if (found == collections.end()) {
            collections.push_back({ .id = makeUUID(), .name = savedSnippetsName });
            found = collections.end() - 1;
        }
        found->snippets.push_back({ .id = makeUUID(), .name = name, .content = item.text });
    });
    return true;
}

void ItemOperations::runSystemCommand(SystemCommand command)
{
    auto asked = confirmation(command);
    if (!asked) {
        m_services.desktop.runSystemCommand(command);
        return;
    }
    m_services.desktop.confirm(
        asked->question, asked->action, [&desktop = m_services.desktop, command](bool isConfirmed) {
            if (isConfirmed)
                desktop.runSystemCommand(command);
        });
}

} // namespace zeph
