#pragma once

#include "Support/Result.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace zeph {

// Where the launcher's panel goes, in the desktop's logical pixels with y growing downwards.
namespace PanelPlacement {

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
    bool contains(Point point) const;
};

struct Screen {
    Rect frame {};
    Rect available {}; // Without panels and docks.
    bool isPrimary = false;
    bool operator==(const Screen&) const = default;
};

inline constexpr double minimumWidth = 760;
inline constexpr double height = 538;

// The panel's frame: on the screen under the pointer (else the primary screen, else the first),
// centred, its top `verticalPosition` of the screen's height down; at the stored top-left corner
// instead when that screen's available area holds the point 40 right of and 20 below it. Then kept
// inside the available area. Nothing without a screen.
std::optional<Rect> position(const std::vector<Screen>& screens, Point pointer, double width,
    double verticalPosition, std::optional<Point> stored);

// Where the user last moved the panel, kept as "[left, top]" in the data folder's
// "launcher-position.json"; nothing when there is none or it is not two numbers.
std::optional<Point> storedPosition(const std::filesystem::path& dataFolder);
std::optional<Error> storePosition(const std::filesystem::path& dataFolder, Point topLeft);
// "Reset Launcher Position".
void forgetPosition(const std::filesystem::path& dataFolder);

inline constexpr const char* positionFile = "launcher-position.json";

} // namespace PanelPlacement

} // namespace zeph
