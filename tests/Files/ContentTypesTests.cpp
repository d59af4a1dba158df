#include "Files/ContentTypes.h"

#include "FileTree.h"
#include "Storage/AppSettings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace zeph;

// The types of the file at `path`, as the crawler finds them.
ContentTypes::Bits typesOf(ContentTypes& types, const std::filesystem::path& path)
{
    struct stat status { };
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    int folder = open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
    auto bits = types.ofEntry(folder, path.filename().c_str(), status);
    close(folder);
    return bits;
}

bool conforms(ContentTypes::Bits bits, std::string_view identifier)
{
    return (bits & ContentTypes::bit(identifier)) != 0;
}

TEST(ContentTypes, EveryTypeACategoryNamesHasItsBit)
{
    ContentTypes::Bits all = 0;
    for (auto category : everyFileCategory) {
        for (auto identifier : contentTypes(category)) {
            EXPECT_NE(ContentTypes::bit(identifier), 0u) << identifier;
            EXPECT_EQ(all & ContentTypes::bit(identifier), 0u) << identifier << " twice";
            all |= ContentTypes::bit(identifier);
        }
    }
    EXPECT_EQ(ContentTypes::bit("com.example.unknown"), 0u);
    EXPECT_EQ(ContentTypes::bits(contentTypes(FileCategory::other)), 0u);
}

TEST(ContentTypes, NamesTellTheTypesAndTheirParents)
{
    TemporaryDirectory tree;
    ContentTypes types;
    for (auto name : { "report.pdf", "tool.py", "photo.JPG", "song.mp3", "film.mkv",
             "backup.tar.gz", "disk.iso", "data.json", "notes.txt", "letter.docx", "page.svg" })
        makeFile(tree / name, "");
    std::filesystem::create_directory(tree / "Folder.pdf");

    auto pdf = typesOf(types, tree / "report.pdf");
    EXPECT_TRUE(conforms(pdf, "com.adobe.pdf"));
    EXPECT_TRUE(conforms(pdf, "public.composite-content"));
    EXPECT_FALSE(conforms(pdf, "public.image"));
    auto python = typesOf(types, tree / "tool.py");
    EXPECT_TRUE(conforms(python, "public.script"));
    EXPECT_TRUE(conforms(python, "public.source-code"));
    EXPECT_TRUE(conforms(python, "public.plain-text"));
    EXPECT_TRUE(conforms(typesOf(types, tree / "photo.JPG"), "public.image"));
    auto song = typesOf(types, tree / "song.mp3");
    EXPECT_TRUE(conforms(song, "public.audio"));
    EXPECT_TRUE(conforms(song, "public.audiovisual-content"));
    auto film = typesOf(types, tree / "film.mkv");
    EXPECT_TRUE(conforms(film, "public.audiovisual-content"));
    EXPECT_FALSE(conforms(film, "public.audio"));
    EXPECT_TRUE(conforms(typesOf(types, tree / "backup.tar.gz"), "public.archive"));
    EXPECT_TRUE(conforms(typesOf(types, tree / "disk.iso"), "public.disk-image"));
    EXPECT_TRUE(conforms(typesOf(types, tree / "data.json"), "public.json"));
    EXPECT_TRUE(conforms(typesOf(types, tree / "notes.txt"), "public.plain-text"));
    EXPECT_TRUE(conforms(
        typesOf(types, tree / "letter.docx"), "org.openxmlformats.wordprocessingml.document"));
    auto drawing = typesOf(types, tree / "page.svg");
    EXPECT_TRUE(conforms(drawing, "public.image"));
    EXPECT_TRUE(conforms(drawing, "public.xml"));
    // A folder is a folder, whatever its name says.
    EXPECT_EQ(typesOf(types, tree / "Folder.pdf"), ContentTypes::folder());
}

TEST(ContentTypes, LooksInsideOnlyWhenTheNameSaysNothing)
{
    TemporaryDirectory tree;
    ContentTypes types;
    makeFile(tree / "README", "Plain words, nothing else.\n");
    makeFile(tree / "logo", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
    makeFile(tree / "empty", "");
    // The name wins over what is inside.
    makeFile(tree / "fake.png", "just text");
    EXPECT_TRUE(conforms(typesOf(types, tree / "README"), "public.plain-text"));
    EXPECT_TRUE(conforms(typesOf(types, tree / "logo"), "public.image"));
    EXPECT_EQ(typesOf(types, tree / "empty"), 0u);
    EXPECT_TRUE(conforms(typesOf(types, tree / "fake.png"), "public.image"));

    // A pipe is never opened: that would wait for a writer forever.
    ASSERT_EQ(mkfifo((tree / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(typesOf(types, tree / "pipe"), 0u);
}

} // namespace
