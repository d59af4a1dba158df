#pragma once

#include "Search/SearchItem.h"
#include "Workflows/ScriptFilterOutput.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zeph {

// One thing a row offers in its actions list.
struct LauncherAction {
    std::string id {}; // Its place when added, a colon and its title: "2:Preview".
    std::string title {};
    std::string symbol {};
    std::optional<std::string> shortcut {}; // As the row shows it: "Ctrl+Enter".
    std::function<void()> perform {};
};

struct KeyHint {
    std::string label {};
    std::string key {};
    bool operator==(const KeyHint&) const = default;
};

struct DetailMetadata {
    std::string key {};
    std::string value {};
    bool operator==(const DetailMetadata&) const = default;
};

// What heads the detail pane.
namespace DetailHeroes {
struct Tile { // The row's icon, large.
    std::string iconName {}; // A symbol name, or a desktop entry's icon.
    std::optional<std::string> path {}; // A file whose own icon it is.
    bool operator==(const Tile&) const = default;
};
struct Picture { // A preview of the file at the path, when the shell can make one.
    std::string path {};
    bool operator==(const Picture&) const = default;
};
struct Image { // A stored image, shown whole.
    std::string path {};
    bool operator==(const Image&) const = default;
};
struct Text {
    std::string text {};
    bool isMonospaced = false;
    bool operator==(const Text&) const = default;
};
struct Calculation {
    std::string expression {};
    std::string value {};
    bool operator==(const Calculation&) const = default;
};
struct Symbol {
    std::string name {};
    bool operator==(const Symbol&) const = default;
};
} // namespace DetailHeroes
using DetailHero = std::variant<DetailHeroes::Tile, DetailHeroes::Picture, DetailHeroes::Image,
    DetailHeroes::Text, DetailHeroes::Calculation, DetailHeroes::Symbol>;

struct DetailContent {
    std::string id {}; // The row's id: a late preview lands only on its own row.
    DetailHero hero {};
    std::string title {};
    std::string subtitle {};
    std::vector<DetailMetadata> metadata {};
    bool operator==(const DetailContent&) const = default;
};

struct ModeChip {
    std::string text {};
    std::string symbol {};
    bool operator==(const ModeChip&) const = default;
};

// Everything the panel shows besides the field's text, as the launcher controller keeps it.
struct LauncherDisplay {
    struct Row {
        RankedResult result {};
        std::optional<ScriptFilterItem> scriptItem {}; // On rows out of a script filter.
        // The workflow's folder, against which a script filter's relative icon path is read.
        std::optional<std::filesystem::path> iconDirectory {};
        bool operator==(const Row&) const = default;
    };
    struct Header {
        std::string title {};
        std::optional<std::string> hint {};
        bool operator==(const Header&) const = default;
    };
    // A header is never selected or chosen.
    using ListRow = std::variant<Header, Row>;

    std::vector<ListRow> rows {};
    int selectedIndex = -1; // -1: no selection.
    std::optional<std::string> countLabel {}; // "1 result", "12 results"; none hides it.
    std::string placeholder {};
    std::optional<ModeChip> chip {};
    std::optional<DetailContent> detail {};
    // The actions list: none when it is closed.
    std::optional<std::vector<LauncherAction>> actions {};
    std::string actionsTitle {};
    std::optional<std::string> actionsIcon {}; // The row's symbol or icon.
    int selectedAction = 0;
    std::string footerText {};
    std::optional<std::string> toast {};
    std::vector<KeyHint> hints {};
};

} // namespace zeph
