#include "Search/FileNavigator.h"

#include "Support/TemporaryDirectory.h"

#include <fstream>
#include <map>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

// A directory tree in memory: paths to their entry names; anything else is a file.
class FakeFileManager final : public FileNavigator::FileManager {
public:
    std::map<std::string, std::vector<std::string>> directories;

    std::optional<std::vector<std::string>> contentsOfDirectory(
        const std::string& path) const override
    {
        auto found = directories.find(path);
        if (found == directories.end())
            return std::nullopt;
        return found->second;
    }
    bool isDirectory(const std::string& path) const override { return directories.contains(path); }
};

std::vector<std::string> titles(const std::vector<RankedResult>& rows)
{
    std::vector<std::string> result;
    for (auto& row : rows)
        result.push_back(row.item.title);
    return result;
}

TEST(FileNavigator, ReadsTypedPaths)
{
    auto query = [](std::string_view text) { return FileNavigator::parse(text, "/home/ann"); };
    EXPECT_EQ(query("~"), (NavigationQuery { "/home/ann", "", "~/" }));
    EXPECT_EQ(query("~/Doc"), (NavigationQuery { "/home/ann", "Doc", "~/" }));
    EXPECT_EQ(query("/"), (NavigationQuery { "/", "", "/" }));
    EXPECT_EQ(query("/usr//lo"), (NavigationQuery { "/usr", "lo", "/usr//" }));
    EXPECT_EQ(query("//usr///bin/"), (NavigationQuery { "/usr/bin", "", "//usr///bin/" }));
    EXPECT_FALSE(query("~bob"));
    EXPECT_FALSE(query("foo/bar"));
    EXPECT_FALSE(query(""));
    EXPECT_EQ(
        FileNavigator::parse("~/x", "/home/ann/"), (NavigationQuery { "/home/ann", "x", "~/" }));
}

TEST(FileNavigator, ClimbsAndAbbreviates)
{
    auto parent = [](std::string_view text) {
        return FileNavigator::parentPath(*FileNavigator::parse(text, "/home/ann"));
    };
    EXPECT_EQ(parent("/usr/"), "/");
    EXPECT_EQ(parent("/usr/local/"), "/usr/");
    EXPECT_EQ(parent("~/Documents/"), "~/");
    EXPECT_EQ(parent("~/"), "/home/");
    EXPECT_EQ(parent("/"), std::nullopt);

    EXPECT_EQ(FileNavigator::abbreviate("/home/ann", "/home/ann"), "~");
    EXPECT_EQ(FileNavigator::abbreviate("/home/ann/x", "/home/ann/"), "~/x");
    EXPECT_EQ(FileNavigator::abbreviate("/home/anna", "/home/ann"), "/home/anna");
    EXPECT_EQ(FileNavigator::abbreviate("/home/ann/x", ""), "/home/ann/x");
}

TEST(FileNavigator, ListsWithTheDirectoryFirstAndSortsTheRest)
{
    FakeFileManager files;
    files.directories["/home/ann"] = { "notes.txt", ".bashrc", "Documents", "Zed.app", "apps" };
    files.directories["/home/ann/Documents"] = {};
    files.directories["/home/ann/Zed.app"] = {};
    files.directories["/home/ann/apps"] = {};
    auto rows = FileNavigator::list(
        *FileNavigator::parse("~", "/home/ann"), false, "/home/ann", 300, files);
    EXPECT_EQ(titles(rows),
        (std::vector<std::string> { "ann", "apps", "Documents", "notes.txt", "Zed.app" }));
    EXPECT_EQ(rows[0].item.subtitle, "~");
    EXPECT_EQ(rows[0].score, 2.0);
    EXPECT_EQ(rows[2].item.autocomplete, "~/Documents/");
    EXPECT_EQ(rows[2].item.kind, ItemKind::folder);
    EXPECT_EQ(rows[3].item.autocomplete, "~/notes.txt");
    EXPECT_EQ(rows[3].item.kind, ItemKind::file);
    // A bundle is opened, not entered, though it is a directory.
    EXPECT_EQ(rows[4].item.kind, ItemKind::application);
    EXPECT_EQ(rows[4].item.autocomplete, "~/Zed.app");

    auto dotted = FileNavigator::list(
        *FileNavigator::parse("~/.ba", "/home/ann"), false, "/home/ann", 300, files);
    EXPECT_EQ(titles(dotted), std::vector<std::string> { ".bashrc" });
    EXPECT_EQ(dotted[0].item.path, "/home/ann/.bashrc");
    EXPECT_FALSE(dotted[0].highlight.empty());
}

TEST(FileNavigator, RootChildrenHaveOneSlashAndUnreadableFoldersOnlyTheirOwnRow)
{
    FakeFileManager files;
    files.directories["/"] = { "usr" };
    files.directories["/usr"] = {};
    auto rows = FileNavigator::list(*FileNavigator::parse("/", ""), false, "", 300, files);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].item.title, "/");
    EXPECT_EQ(rows[1].item.path, "/usr");
    EXPECT_EQ(rows[1].item.autocomplete, "/usr/");

    auto missing
        = FileNavigator::list(*FileNavigator::parse("/nowhere/", ""), false, "", 300, files);
    EXPECT_EQ(titles(missing), std::vector<std::string> { "nowhere" });
    EXPECT_TRUE(FileNavigator::list(*FileNavigator::parse("/nowhere/x", ""), false, "", 300, files)
                    .empty());
}

TEST(FileNavigator, DropsWeakMatches)
{
    FakeFileManager files;
    files.directories["/d"] = { "report.pdf", "a-very-long-name-with-r-and-p-scattered.txt" };
    auto rows = FileNavigator::list(*FileNavigator::parse("/d/rp", ""), false, "", 300, files);
    for (auto& row : rows)
        EXPECT_GE(row.matchScore, 0.3);
    EXPECT_EQ(titles(rows).front(), "report.pdf");
}

TEST(FileNavigator, WalksARealTree)
{
    TemporaryDirectory home;
    fs::create_directories(home / "Foo.app");
    fs::create_directories(home / "big");
    for (int index = 0; index < 10'000; ++index)
        std::ofstream(home / ("big/file" + std::to_string(index)));
    fs::create_directory_symlink(home / "loop", home / "loop");
    std::ofstream(home / ".hidden");
    std::ofstream(home / std::string("bad\xFFname"));
    auto homePath = home.path().string();
    auto& system = FileNavigator::systemFileManager();

    auto big = FileNavigator::list(
        *FileNavigator::parse("~/big/", homePath), false, homePath, 300, system);
    EXPECT_EQ(big.size(), 301u);

    auto rows
        = FileNavigator::list(*FileNavigator::parse("~", homePath), false, homePath, 300, system);
    auto names = titles(rows);
    EXPECT_EQ(std::count(names.begin(), names.end(), ".hidden"), 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "bad\xEF\xBF\xBDname"), 1);
    auto foo = std::find_if(
        rows.begin(), rows.end(), [](auto& row) { return row.item.title == "Foo.app"; });
    ASSERT_NE(foo, rows.end());
    EXPECT_EQ(foo->item.kind, ItemKind::application);
    // A link to itself resolves to nothing, so it is a file and never entered.
    auto loop = std::find_if(
        rows.begin(), rows.end(), [](auto& row) { return row.item.title == "loop"; });
    ASSERT_NE(loop, rows.end());
    EXPECT_EQ(loop->item.kind, ItemKind::file);

    auto shown
        = FileNavigator::list(*FileNavigator::parse("~", homePath), true, homePath, 300, system);
    EXPECT_EQ(shown.size(), rows.size() + 1);

    if (geteuid() != 0) {
        fs::create_directories(home / "locked");
        fs::permissions(home / "locked", fs::perms::none);
        auto locked = FileNavigator::list(
            *FileNavigator::parse("~/locked/", homePath), false, homePath, 300, system);
        EXPECT_EQ(locked.size(), 1u);
    }
}

} // namespace
