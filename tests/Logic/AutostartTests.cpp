#include "Logic/Autostart.h"

#include "Support/TemporaryDirectory.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using namespace zeph;

TEST(Autostart, WritesTheEntryWhenAskedAndRemovesItAfter)
{
    TemporaryDirectory home;
    auto folder = home / ".config/autostart";
    EXPECT_EQ(Autostart::apply(true, folder, "/opt/my $apps/zeph-launcher"), std::nullopt);
    std::ifstream stream(folder / Autostart::entryName);
    std::ostringstream text;
    text << stream.rdbuf();
    EXPECT_NE(text.str().find("Exec=\"/opt/my \\$apps/zeph-launcher\"\n"), std::string::npos);
    EXPECT_EQ(Autostart::apply(true, folder, "/opt/my $apps/zeph-launcher"), std::nullopt);

    EXPECT_EQ(Autostart::apply(false, folder, "/usr/bin/zeph-launcher"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(folder / Autostart::entryName));
    EXPECT_EQ(Autostart::apply(false, folder, "/usr/bin/zeph-launcher"), std::nullopt);
}

TEST(Autostart, AFolderThatCannotBeMadeIsAnError)
{
    TemporaryDirectory home;
    std::ofstream(home / "file") << "x";
    EXPECT_TRUE(Autostart::apply(true, home / "file/autostart", "/usr/bin/zeph-launcher"));
}

} // namespace
