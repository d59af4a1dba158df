#include "Files/FileSearcher.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;

TEST(FileSearcher, BuildsThePredicateOfARequest)
{
    SearchSettings settings;
    settings.fileCategories = {};
    FileSearchRequest request { .term = "tax \"q\"", .limit = 40 };
    EXPECT_EQ(FileSearcher::predicate(request, settings),
        "kMDItemDisplayName == \"tax*\"cdw && kMDItemDisplayName == \"\\\"q\\\"*\"cdw"
        " && kMDItemContentType != \"public.folder\"");

    settings.fileCategories = { FileCategory::folders, FileCategory::other };
    EXPECT_EQ(FileSearcher::predicate(request, settings),
        "kMDItemDisplayName == \"tax*\"cdw && kMDItemDisplayName == \"\\\"q\\\"*\"cdw");

    settings.fileCategories = { FileCategory::pdfs };
    auto withCategory = FileSearcher::predicate({ .term = "tax", .limit = 40 }, settings);
    EXPECT_TRUE(withCategory.starts_with(
        "kMDItemDisplayName == \"tax*\"cdw && (kMDItemContentTypeTree == \""));
    EXPECT_TRUE(withCategory.ends_with(") && kMDItemContentType != \"public.folder\""));

    EXPECT_EQ(FileSearcher::predicate({ .term = "a b", .contents = true, .limit = 40 }, settings),
        "kMDItemTextContent == \"a*\"cdw && kMDItemTextContent == \"b*\"cdw");
}

TEST(FileSearcher, DropsBundlesAndTitlesRowsWithTheirFolder)
{
    std::vector<IndexedFile> found {
        { .path = "/Applications/Foo.app/Contents/Info.plist", .name = "Info.plist" },
        { .path = "/Applications/Foo.app", .name = "Foo.app", .isFolder = true },
        { .path = "/home/ann/Documents/tax.pdf", .name = "tax.pdf" },
        { .path = "/home/ann/Taxes", .name = "Taxes", .isFolder = true },
        { .path = "/tax", .name = "" },
    };
    auto items = FileSearcher::items(found, "/home/ann", 40);
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].title, "tax.pdf");
    EXPECT_EQ(items[0].subtitle, "~/Documents");
    EXPECT_EQ(items[0].kind, ItemKind::file);
    EXPECT_EQ(items[1].kind, ItemKind::folder);
    EXPECT_EQ(items[1].subtitle, "~");
    EXPECT_EQ(items[2].title, "tax");
    EXPECT_EQ(items[2].subtitle, "/");
    EXPECT_EQ(FileSearcher::items(found, "/home/ann", 1).size(), 1u);
}

} // namespace
