#include "Files/FileQuery.h"

#include "Files/FileSearcher.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;

TEST(FileQuery, ReadsBackEveryPredicateTheSearcherWrites)
{
    SearchSettings settings;
    auto parsed = [&](FileSearchRequest request) {
        auto query = FileQuery::parse(FileSearcher::predicate(request, settings));
        EXPECT_TRUE(query) << FileSearcher::predicate(request, settings);
        return query ? *query : FileQuery {};
    };
    // Every category but "other" chosen: the content types of all of them, folders included.
    settings.fileCategories = { FileCategory::folders, FileCategory::images, FileCategory::pdfs };
    auto query = parsed({ .term = "tax  \"2024\" a\\b *x*", .limit = 40 });
    EXPECT_EQ(query.field, FileQuery::Field::name);
    EXPECT_EQ(query.words, (std::vector<std::string> { "tax", "\"2024\"", "a\\b", "*x*" }));
    EXPECT_EQ(query.types,
        ContentTypes::bit("public.folder") | ContentTypes::bit("public.image")
            | ContentTypes::bit("com.adobe.pdf"));
    EXPECT_FALSE(query.excludesFolders);

    settings.fileCategories = {};
    query = parsed({ .term = "tax", .limit = 40 });
    EXPECT_EQ(query.types, std::nullopt);
    EXPECT_TRUE(query.excludesFolders);

    settings.fileCategories = { FileCategory::images, FileCategory::other };
    query = parsed({ .term = "tax", .limit = 40 });
    EXPECT_EQ(query.types, std::nullopt);
    EXPECT_TRUE(query.excludesFolders);

    query = parsed({ .term = "it's here", .contents = true, .limit = 40 });
    EXPECT_EQ(query.field, FileQuery::Field::contents);
    EXPECT_EQ(query.words, (std::vector<std::string> { "it's", "here" }));
    EXPECT_EQ(query.types, std::nullopt);
}

TEST(FileQuery, RefusesWhatIsNoPredicate)
{
    for (std::string_view text : {
             "",
             "   ",
             "kMDItemContentType != \"public.folder\"",
             "kMDItemDisplayName == \"tax*\"cdw &&",
             "kMDItemDisplayName == \"tax*",
             "kMDItemDisplayName == \"tax\\",
             "kMDItemDisplayName = \"tax*\"cdw",
             "kMDItemFSName == \"tax*\"cdw",
             "kMDItemDisplayName == \"a*\"cdw && kMDItemTextContent == \"b*\"cdw",
             "kMDItemDisplayName == \"a*\"cdw && (kMDItemDisplayName == \"b*\"cdw)",
             "kMDItemDisplayName == \"a*\"cdw && (kMDItemContentTypeTree == \"public.image\"",
             "kMDItemDisplayName == \"a*\"cdw && (kMDItemContentTypeTree == \"public.image\") && "
             "(kMDItemContentTypeTree == \"public.audio\")",
             "kMDItemDisplayName == \"a*\"cdw && kMDItemContentType != \"public.image\"",
             "kMDItemDisplayName == \"a*\"cdw junk",
         })
        EXPECT_FALSE(FileQuery::parse(text)) << text;
}

TEST(FileQuery, AnUnknownContentTypeMatchesNothing)
{
    auto query = FileQuery::parse(
        "kMDItemDisplayName == \"a*\"cdw && (kMDItemContentTypeTree == \"com.example.nothing\")");
    ASSERT_TRUE(query);
    EXPECT_EQ(query->types, ContentTypes::Bits { 0 });
    // Spaces around the pieces do not matter.
    auto spaced
        = FileQuery::parse("  kMDItemDisplayName==\"a*\"  &&(  kMDItemContentTypeTree == "
                           "\"public.image\"||kMDItemContentTypeTree==\"public.audio\" )  ");
    ASSERT_TRUE(spaced);
    EXPECT_EQ(spaced->types, ContentTypes::bit("public.image") | ContentTypes::bit("public.audio"));
}

} // namespace
