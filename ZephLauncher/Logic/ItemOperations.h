#pragma once

#include "Clipboard/ClipboardItem.h"
#include "Logic/AppModel.h"
#include "Logic/Clipboard.h"
#include "Logic/DesktopServices.h"
#include "Logic/SnippetExpander.h"
#include "Logic/TextInserter.h"

#include <chrono>
#include <optional>
#include <string>

namespace zeph {

// What choosing a row does to the desktop: opening, revealing, copying and pasting, the clipboard
// history's entries, the system commands with their confirmations. Main thread only.
class ItemOperations {
public:
    // The previous application has the keyboard again this long after the panel hides.
    static constexpr std::chrono::milliseconds focusDelay { 80 };

    struct Services {
        AppModel& model;
        DesktopServices& desktop;
        Clipboard& clipboard;
        TextInserter& inserter;
        SnippetExpander& snippets;
        MainLoop& loop;
    };

    explicit ItemOperations(Services services);

    // Applications launch, settings panels open, files and folders open with their application,
    // web searches open their address. An argument that is no address is dropped.
    void open(const SearchItem& item);
    void reveal(const std::string& path) { m_services.desktop.reveal(path); }
    void preview(const std::string& path) { m_services.desktop.preview(path); }
    void showProperties(const std::string& path) { m_services.desktop.showProperties(path); }
    void moveToTrash(const std::string& path) { m_services.desktop.moveToTrash(path); }
    void beep() { m_services.desktop.beep(); }

    void copyText(const std::string& text);
    // Into the application that had the focus before the panel, as the snippet settings say.
    void pasteText(const std::string& text);
    // A little later, when the previous application has the focus again.
    void pasteClipboard(const ClipboardItem& item, bool plainText);
    // Back on the clipboard, which then does not record it again.
    void copyClipboard(const ClipboardItem& item);
    // Into the collection "Saved from Clipboard"; false for an image.
    bool saveAsSnippet(const ClipboardItem& item);

    // The four that end something ask first; when the answer is no, nothing runs.
    void runSystemCommand(SystemCommand command);

    // An entry's image, read from the clipboard folder.
    std::optional<std::string> imageBytes(const ClipboardItem& item) const;

private:
    Services m_services;
};

} // namespace zeph
