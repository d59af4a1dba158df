#include "Search/AppIndexer.h"

#include "Search/DesktopEntry.h"
#include "Support/TemporaryDirectory.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

void write(const fs::path& path, std::string_view text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string entry(std::string_view name, std::string_view extra = "")
{
    return "[Desktop Entry]\nType=Application\nName=" + std::string(name)
        + "\nExec=" + std::string(name) + " %U\n" + std::string(extra);
}

std::vector<std::string> titles(const std::vector<SearchItem>& items)
{
    std::vector<std::string> list;
    for (auto& item : items)
        list.push_back(item.title);
    return list;
}

// Sets an environment variable for the length of a test.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value)
        : m_name(name)
    {
        if (auto* old = std::getenv(name))
            m_old = old;
        setenv(name, value, 1);
    }
    ~ScopedEnvironment()
    {
        if (m_old)
            setenv(m_name, m_old->c_str(), 1);
        else
            unsetenv(m_name);
    }

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

TEST(DesktopEntry, ReadsTheKeysTheLauncherUses)
{
    auto read
        = DesktopEntry::read("[Desktop Entry]\nType=Application\nName=Web\nGenericName=Browser\n"
                             "Keywords=internet;www\\;web;\nIcon=web-browser\nCategories=Network;\n"
                             "OnlyShowIn=GNOME;KDE;\nNoDisplay=true\n");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->genericName, "Browser");
    EXPECT_EQ(read->keywords, (std::vector<std::string> { "internet", "www;web" }));
    EXPECT_TRUE(read->noDisplay);
    std::vector<std::string> kde { "KDE" };
    std::vector<std::string> xfce { "XFCE" };
    EXPECT_TRUE(read->isShownIn(kde));
    EXPECT_FALSE(read->isShownIn(xfce));

    EXPECT_FALSE(DesktopEntry::read("no key file at all"));
    EXPECT_FALSE(DesktopEntry::read("[Desktop Entry]\nType=Application\nExec=x\n"));
    EXPECT_FALSE(DesktopEntry::read("[Desktop Entry]\nType=Link\nName=x\n"));
    EXPECT_FALSE(DesktopEntry::read("[Desktop Entry]\nType=Application\nName=\xFF\xFE\n"));
    auto hidden = DesktopEntry::read("[Desktop Entry]\nHidden=true\n");
    ASSERT_TRUE(hidden);
    EXPECT_TRUE(hidden->hidden);
}

TEST(DesktopEntry, ReadsTheNameInTheUsersLanguage)
{
    ScopedEnvironment language("LANGUAGE", "de");
    ScopedEnvironment all("LC_ALL", "de_DE.UTF-8");
    auto read
        = DesktopEntry::read("[Desktop Entry]\nType=Application\nName=Files\nName[de]=Dateien\n"
                             "Keywords=folder;\nKeywords[de]=Ordner;\n");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->name, "Dateien");
    EXPECT_EQ(read->keywords, std::vector<std::string> { "Ordner" });
}

TEST(AppIndexer, TakesEachIdFromTheFirstFolderThatHoldsIt)
{
    ScopedEnvironment desktop("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    TemporaryDirectory folders;
    auto user = folders / "user";
    auto system = folders / "system";
    write(user / "editor.desktop", entry("My Editor"));
    write(system / "editor.desktop", entry("Editor"));
    write(user / "removed.desktop", "[Desktop Entry]\nHidden=true\n");
    write(system / "removed.desktop", entry("Removed"));
    write(user / "broken.desktop", "[Desktop Entry]\nType=Application\n");
    write(system / "broken.desktop", entry("Sound"));
    write(system / "kde4/tool.desktop", entry("Tool"));
    write(
        system / "panel.desktop", entry("Display", "Categories=GNOME;Settings;\nNoDisplay=true\n"));
    write(
        system / "kdepanel.desktop", entry("KDE Panel", "Categories=Settings;\nOnlyShowIn=KDE;\n"));
    write(system / "gone.desktop", entry("Gone", "TryExec=no-such-program-anywhere\n"));
    write(system / "quiet.desktop", entry("Quiet", "NoDisplay=true\n"));
    write(system / "latin1.desktop", "[Desktop Entry]\nType=Application\nName=Caf\xE9\n");
    write(system / "notes.txt", entry("Not an entry"));

    auto index
        = AppIndexer::scan({ user.string(), system.string(), (folders / "missing").string() });
    EXPECT_EQ(
        titles(index.applications), (std::vector<std::string> { "My Editor", "Sound", "Tool" }));
    EXPECT_EQ(index.applications[0].id, (user / "editor.desktop").string());
    EXPECT_EQ(index.applications[0].path, index.applications[0].id);
    EXPECT_EQ(index.applications[0].argument, "editor.desktop");
    EXPECT_EQ(index.applications[2].argument, "kde4-tool.desktop");
    EXPECT_EQ(titles(index.systemSettings), std::vector<std::string> { "Display" });
    EXPECT_EQ(index.systemSettings[0].kind, ItemKind::systemSetting);
}

TEST(AppIndexer, RescansOnceAfterABurstOfChanges)
{
    TemporaryDirectory folder;
    write(folder / "first.desktop", entry("First"));
    std::mutex mutex;
    std::vector<ApplicationIndex> updates;
    AppIndexer indexer([&](ApplicationIndex index) {
        std::lock_guard lock(mutex);
        updates.push_back(std::move(index));
    });
    indexer.setFolders({ folder.path().string() });
    auto count = [&] {
        std::lock_guard lock(mutex);
        return updates.size();
    };
    auto waitFor = [&](std::size_t wanted) {
        for (int step = 0; step < 200 && count() < wanted; ++step)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return count();
    };
    ASSERT_EQ(waitFor(1), 1u);
    for (int index = 0; index < 20; ++index)
        write(folder / ("app" + std::to_string(index) + ".desktop"),
            entry("App " + std::to_string(index)));
    ASSERT_EQ(waitFor(2), 2u);
    // Nothing more follows the burst.
    std::this_thread::sleep_for(std::chrono::milliseconds(2000));
    std::lock_guard lock(mutex);
    EXPECT_EQ(updates.size(), 2u);
    EXPECT_EQ(updates.back().applications.size(), 21u);
}

} // namespace
