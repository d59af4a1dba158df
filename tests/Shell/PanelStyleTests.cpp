#include "UI/PanelStyle.h"

#include "Shell/TestApplication.h"
#include "UI/Icons.h"

#include <gtest/gtest.h>

#include <QApplication>

namespace {

using namespace zeph;

Theme themeWith(ThemeAppearance appearance, ThemeMaterial material)
{
    Theme theme = BuiltInThemes::defaultTheme();
    theme.appearance = appearance;
    theme.material = material;
    theme.light.background = { .red = 1, .green = 1, .blue = 1, .alpha = 0.5 };
    theme.dark = theme.light;
    theme.dark->background = { .red = 0, .green = 0, .blue = 0, .alpha = 0.5 };
    return theme;
}

TEST(PanelStyle, TheAppearanceChoosesThePalette)
{
    auto system = themeWith(ThemeAppearance::system, ThemeMaterial::liquidGlass);
    EXPECT_EQ(PanelStyle::make(system, true, true).palette.background.red, 0);
    EXPECT_EQ(PanelStyle::make(system, false, true).palette.background.red, 1);
    auto light = themeWith(ThemeAppearance::light, ThemeMaterial::liquidGlass);
    EXPECT_EQ(PanelStyle::make(light, true, true).palette.background.red, 1);
    auto dark = themeWith(ThemeAppearance::dark, ThemeMaterial::liquidGlass);
    dark.dark.reset(); // Without a dark palette the light one serves.
    EXPECT_EQ(PanelStyle::make(dark, false, true).palette.background.red, 1);
}

TEST(PanelStyle, TranslucentOnlyWhereACompositorRunsAndTheMaterialAsks)
{
    auto glass = themeWith(ThemeAppearance::light, ThemeMaterial::clearGlass);
    EXPECT_TRUE(PanelStyle::make(glass, false, true).isTranslucent);
    EXPECT_EQ(PanelStyle::make(glass, false, true).palette.background.alpha, 0.5);
    auto opaque = PanelStyle::make(glass, false, false);
    EXPECT_FALSE(opaque.isTranslucent);
    EXPECT_EQ(opaque.palette.background.alpha, 1);
    auto solid = themeWith(ThemeAppearance::light, ThemeMaterial::solid);
    EXPECT_FALSE(PanelStyle::make(solid, false, true).isTranslucent);
    EXPECT_EQ(PanelStyle::make(solid, false, true).color(solid.light.border).alphaF(),
        static_cast<float>(solid.light.border.alpha));
}

TEST(Icons, EveryRowHasAnIconAndSymbolsMapToTheIconTheme)
{
    Testing::TestApplication<QApplication> application;
    Icons icons;
    SearchItem unknown { .id = "x", .title = "Élan", .kind = ItemKind::application };
    EXPECT_FALSE(icons.forItem(unknown).isNull());
    SearchItem untitled { .id = "y", .title = "", .kind = ItemKind::workflow };
    EXPECT_FALSE(icons.forItem(untitled).isNull());
    EXPECT_EQ(Icons::themeName("magnifyingglass"), "system-search");
    EXPECT_EQ(Icons::themeName("trash.fill"), "user-trash-full");
    EXPECT_EQ(Icons::themeName("no.such.symbol"), "application-x-executable");
}

} // namespace
