#pragma once

#include "Storage/Theme.h"

#include <QColor>
#include <QFont>

namespace zeph {

// A theme as the panel paints it: the palette of the present appearance, Qt colours and fonts.
struct PanelStyle {
    Theme theme {};
    ThemePalette palette {};
    bool isTranslucent = false;

    // Dark when the theme says so, or when it follows the desktop and the desktop prefers dark.
    static PanelStyle make(const Theme& theme, bool desktopPrefersDark, bool compositorRuns);

    QColor color(const ThemeColor& color) const;
    QFont font(double pointSize, bool isBold = false) const;
};

} // namespace zeph
