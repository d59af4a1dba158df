#include "UI/PanelStyle.h"

namespace zeph {

PanelStyle PanelStyle::make(const Theme& theme, bool desktopPrefersDark, bool compositorRuns)
{
    bool isDark = theme.appearance == ThemeAppearance::dark
        || (theme.appearance == ThemeAppearance::system && desktopPrefersDark);
    PanelStyle style { .theme = theme,
        .palette = isDark && theme.dark ? *theme.dark : theme.light,
        .isTranslucent = compositorRuns && theme.material != ThemeMaterial::solid };
    if (!style.isTranslucent)
        style.palette.background.alpha = 1;
    return style;
}

QColor PanelStyle::color(const ThemeColor& color) const
{
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
        static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

QFont PanelStyle::font(double pointSize, bool isBold) const
{
    QFont font;
    if (theme.fontName)
        font.setFamilies({ QString::fromStdString(*theme.fontName) });
    // Theme sizes are in the desktop's logical pixels, as the panel's metrics are.
    font.setPixelSize(std::max(1, static_cast<int>(pointSize + 0.5)));
    font.setBold(isBold);
    return font;
}

} // namespace zeph
