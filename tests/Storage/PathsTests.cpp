#include "Storage/Paths.h"

#include "Support/TemporaryDirectory.h"

#include <fstream>

#include <gtest/gtest.h>

namespace zeph {

TEST(Paths, DataFolderFollowsTheOverrideThenXDGThenHomeThenTemporary)
{
    TemporaryDirectory folder;
    auto home = (folder / "home").string();
    auto xdg = (folder / "xdg").string();
    auto temporary = (folder / "tmp").string();
    // A regular file where a folder must go makes that folder impossible to create.
    auto blocked = (folder / "blocked").string();
    std::ofstream(blocked) << "x";

    struct Case {
        const char* name;
        Paths::Environment environment;
        std::filesystem::path expected;
    };
    const Case cases[] = {
        { "explicit folder wins",
            { .dataDirectory = (folder / "mine").string(), .xdgDataHome = xdg, .home = home },
            folder / "mine" },
        { "absolute XDG_DATA_HOME", { .xdgDataHome = xdg, .home = home },
            folder / "xdg/Zeph Launcher" },
        { "relative XDG_DATA_HOME is ignored", { .xdgDataHome = "relative/data", .home = home },
            folder / "home/.local/share/Zeph Launcher" },
        { "empty XDG_DATA_HOME is ignored", { .xdgDataHome = "", .home = home },
            folder / "home/.local/share/Zeph Launcher" },
        { "XDG folder cannot be made", { .xdgDataHome = blocked, .home = home },
            folder / "home/.local/share/Zeph Launcher" },
        { "neither can be made",
            { .xdgDataHome = blocked, .home = blocked, .temporaryDirectory = temporary },
            folder / "tmp/Zeph Launcher" },
        { "no home at all", { .temporaryDirectory = temporary }, folder / "tmp/Zeph Launcher" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        auto path = Paths::supportDirectory(testCase.environment);
        EXPECT_EQ(path, testCase.expected);
        EXPECT_TRUE(std::filesystem::is_directory(path));
    }
}

TEST(Paths, AFolderThatCannotBeMadeIsStillReturned)
{
    TemporaryDirectory folder;
    std::ofstream(folder / "file") << "x";
    auto requested = folder / "file/data";
    EXPECT_EQ(Paths::supportDirectory({ .dataDirectory = requested.string() }), requested);
}

TEST(Paths, EachWorkflowHasAFolderOfItsOwnInsideTheWorkflowsFolder)
{
    TemporaryDirectory folder;
    const std::pair<std::string, std::string> cases[] = {
        { "6F9619FF-8B86-D011-B42D-00C04FC964FF", "6F9619FF-8B86-D011-B42D-00C04FC964FF" },
        { "example-uuid", "example-uuid" },
        { "with space.v2", "with space.v2" },
        { "..", "%2E%2E" },
        { ".", "%2E" },
        { "../../etc", "%2E%2E%2F%2E%2E%2Fetc" },
        { "a/b", "a%2Fb" },
        { "a%2Fb", "a%252Fb" },
        { "", "%" },
    };
    for (auto& [id, name] : cases) {
        SCOPED_TRACE(id);
        auto made = Paths::workflowDirectory(folder.path(), id);
        EXPECT_EQ(made, folder.path() / "Workflows" / name);
        EXPECT_TRUE(std::filesystem::is_directory(made));
    }
}

} // namespace zeph
