#include "Snippets/AlfredSnippetImporter.h"

#include "Snippets/ExpansionMatcher.h"
#include "Snippets/SnippetPack.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace AlfredSnippetImporter;
using namespace SnippetPack;

const std::string noSnippets = message(ImportError::noSnippets);

std::vector<std::string> summary(const SnippetCollection& collection)
{
    std::vector<std::string> result;
    for (auto& snippet : collection.snippets) {
        result.push_back(snippet.id + "|" + snippet.name + "|"
            + collection.triggerText(snippet).value_or("-") + "|" + snippet.content
            + (snippet.autoExpands ? "" : "|manual"));
    }
    return result;
}

bool isEmptyFolder(const std::filesystem::path& path)
{
    return std::filesystem::is_directory(path) && std::filesystem::is_empty(path);
}

// Packs built in a folder of their own, imported through another temporary folder that must be
// left empty whatever happens.
class Packs {
public:
    std::filesystem::path zip(const std::string& name, const std::vector<Entry>& entries) const
    {
        auto path = m_folder / name;
        EXPECT_TRUE(writeZip(path, entries)) << name;
        return path;
    }
    std::filesystem::path bytes(const std::string& name, const std::string& contents) const
    {
        auto path = m_folder / name;
        writeFile(path, contents);
        return path;
    }
    PackImport import(const std::vector<std::filesystem::path>& files,
        const ZipArchive::Limits& limits = {}) const
    {
        auto result = importPacks(files, m_temporary.path(), limits);
        EXPECT_TRUE(isEmptyFolder(m_temporary.path()));
        return result;
    }
    // The one error of importing one pack, "" when it worked.
    std::string error(
        const std::filesystem::path& file, const ZipArchive::Limits& limits = {}) const
    {
        auto result = import({ file }, limits);
        return result.errors.empty() ? "" : result.errors.front();
    }
    const std::filesystem::path& folder() const { return m_folder.path(); }

private:
    TemporaryDirectory m_folder;
    TemporaryDirectory m_temporary;
};

} // namespace

TEST(AlfredSnippetImporter, ReadsSnippetsInNameOrderWithThePacksAffixes)
{
    TemporaryDirectory pack;
    writeFile(pack / "info.plist",
        plist({ { "snippetkeywordprefix", ";" }, { "snippetkeywordsuffix", "!" },
                  { "other", "ignored" } },
            PlistFormat::xml));
    writeFile(pack / "b.json",
        snippetJSON(R"("snippet": "B {clipboard:2}", "uid": "b-id", "keyword": "bee")"));
    writeFile(pack / "a.json",
        snippetJSON(
            R"("snippet": "A", "uid": "a-id", "name": "Alpha", "keyword": "x", "dontautoexpand": true)"));
    writeFile(pack / "C.JSON", snippetJSON(R"("snippet": "C", "uid": "c-id", "name": "")"));
    writeFile(pack / "d.json", snippetJSON(R"("snippet": "D", "uid": "d-id", "keyword": null)"));
    // Not snippets: skipped without a word.
    writeFile(pack / "e.json", R"({"snippet": "no wrapper"})");
    writeFile(pack / "f.json", snippetJSON(R"("uid": "no content")"));
    writeFile(pack / "g.json", snippetJSON(R"("snippet": "G", "dontautoexpand": "yes")"));
    writeFile(pack / "h.json", "not json");
    writeFile(pack / "i.json", "\"\xff\"");
    writeFile(pack / "j.txt", snippetJSON(R"("snippet": "wrong extension")"));
    writeFile(pack / "k.json/inside.json", snippetJSON(R"("snippet": "in a folder")"));

    auto collection = AlfredSnippetImporter::collection("Pack", pack.path()).value();
    EXPECT_EQ(collection.name, "Pack");
    EXPECT_EQ(collection.prefix, ";");
    EXPECT_EQ(collection.suffix, "!");
    EXPECT_TRUE(collection.isEnabled);
    EXPECT_TRUE(collection.excludedBundleIDs.empty());
    EXPECT_EQ(collection.id.size(), 36u);
    // Byte order of the names: "C.JSON" before "a.json".
    EXPECT_EQ(summary(collection),
        (std::vector<std::string> { "c-id||-|C", "a-id|Alpha|;x!|A|manual",
            "b-id|bee|;bee!|B {clipboard}", "d-id|Snippet|-|D" }));
    for (auto& snippet : collection.snippets) {
        EXPECT_TRUE(snippet.isEnabled);
        EXPECT_FALSE(snippet.createdByAgent || snippet.pendingReview);
    }

    // Imported twice, the same triggers collide, and the first collection keeps them.
    auto again = AlfredSnippetImporter::collection("Pack", pack.path()).value();
    EXPECT_NE(again.id, collection.id);
    auto triggers = ExpansionTrigger::triggers({ collection, again });
    EXPECT_EQ(triggers.size(), 1u);
    EXPECT_EQ(triggers.front().collectionID, collection.id);
}

TEST(AlfredSnippetImporter, InfoPlistIsBinaryXmlOrAbsent)
{
    auto affixes
        = std::vector<std::pair<std::string, std::string>> { { "snippetkeywordprefix", "«" },
              { "snippetkeywordsuffix", "»" } };
    EXPECT_EQ(packInfo(plist(affixes, PlistFormat::binary)), (PackInfo { "«", "»" }));
    EXPECT_EQ(packInfo(plist(affixes, PlistFormat::xml)), (PackInfo { "«", "»" }));
    EXPECT_EQ(packInfo(plist({ { "snippetkeywordprefix", ";" } }, PlistFormat::binary)),
        (PackInfo { ";", "" }));
    // Whatever cannot be read is "", silently.
    for (std::string bytes :
        { std::string(), std::string("bplist00"), std::string("<plist>"),
            std::string("\xff\xfe garbage"),
            std::string(
                R"(<?xml version="1.0"?><plist version="1.0"><array><string>;</string></array></plist>)"),
            std::string(
                R"(<plist version="1.0"><dict><key>snippetkeywordprefix</key><integer>1</integer></dict></plist>)"),
            plist(affixes, PlistFormat::binary).substr(0, 20) }) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(packInfo(bytes), PackInfo {});
    }

    TemporaryDirectory pack;
    writeFile(pack / "x.json", snippetJSON(R"("snippet": "X", "keyword": "x")"));
    EXPECT_EQ(AlfredSnippetImporter::collection("P", pack.path())->prefix, "");
    writeFile(
        pack / "info.plist", plist({ { "snippetkeywordprefix", "::" } }, PlistFormat::binary));
    auto collection = AlfredSnippetImporter::collection("P", pack.path()).value();
    EXPECT_EQ(collection.triggerText(collection.snippets.front()), "::x");
}

TEST(AlfredSnippetImporter, NoSnippetsIsTheOneError)
{
    TemporaryDirectory pack;
    EXPECT_EQ(AlfredSnippetImporter::collection("P", pack.path()).error().message, noSnippets);
    EXPECT_EQ(AlfredSnippetImporter::collection("P", pack / "missing").error().message, noSnippets);
    writeFile(pack / "info.plist", plist({ { "snippetkeywordprefix", ";" } }, PlistFormat::xml));
    writeFile(pack / "bad.json", "{}");
    EXPECT_EQ(AlfredSnippetImporter::collection("P", pack.path()).error().message, noSnippets);

    auto fresh = snippet(snippetJSON(R"("snippet": "x")")).value();
    EXPECT_EQ(fresh.id.size(), 36u);
    EXPECT_NE(snippet(snippetJSON(R"("snippet": "x")"))->id, fresh.id);
}

TEST(AlfredSnippetImporter, ConvertsClipboardHistoryPlaceholders)
{
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        { "{clipboard:2}", "{clipboard}" },
        { "{clipboard}", "{clipboard}" },
        { "{clipboard:2", "{clipboard:2" },
        { "a {clipboard:1} b {clipboard:12} c", "a {clipboard} b {clipboard} c" },
        { "{clipboard:1}{clipboard:2", "{clipboard}{clipboard:2" },
        { "{clipboard:}", "{clipboard}" },
        { "{clipboard:{date}}", "{clipboard}}" },
        { "{date:short} {time}", "{date:short} {time}" },
        { "", "" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(convertPlaceholders(testCase.text), testCase.expected);
    }
}

TEST(AlfredSnippetImporter, ImportsPacksAndReportsEachFailureByFileName)
{
    Packs packs;
    auto good = packs.zip("Good Pack.alfredsnippets",
        { file("info.plist", plist({ { "snippetkeywordprefix", ";" } }, PlistFormat::binary)),
            file("b.json", snippetJSON(R"("snippet": "Bee", "uid": "b", "keyword": "b")")),
            file("a.json", snippetJSON(R"("snippet": "Ay", "uid": "a", "keyword": "a")")),
            { .name = "sub", .kind = Entry::Kind::folder },
            file("sub/c.json", snippetJSON(R"("snippet": "nested")")),
            link("alias.json", "a.json") });
    auto empty = packs.zip("empty.alfredsnippets", {});
    auto onlyInfo = packs.zip("info-only.alfredsnippets",
        { file("info.plist", plist({ { "snippetkeywordprefix", ";" } }, PlistFormat::xml)) });
    auto notZip = packs.bytes("text.alfredsnippets", "PK\x03\x04 but nothing more");

    auto result = packs.import(
        { good, empty, notZip, onlyInfo, good, packs.folder() / "missing.alfredsnippets" });
    ASSERT_EQ(result.collections.size(), 2u);
    EXPECT_EQ(result.collections[0].name, "Good Pack");
    // The link is read as the file it points to, inside the pack.
    EXPECT_EQ(summary(result.collections[0]),
        (std::vector<std::string> { "a|a|;a|Ay", "a|a|;a|Ay", "b|b|;b|Bee" }));
    EXPECT_NE(result.collections[0].id, result.collections[1].id);
    ASSERT_EQ(result.errors.size(), 4u);
    EXPECT_EQ(result.errors[0], "empty.alfredsnippets: " + noSnippets);
    EXPECT_TRUE(result.errors[1].starts_with("text.alfredsnippets: The zip archive is damaged: "))
        << result.errors[1];
    EXPECT_EQ(result.errors[2], "info-only.alfredsnippets: " + noSnippets);
    EXPECT_TRUE(result.errors[3].starts_with(
        "missing.alfredsnippets: The file is not a readable zip archive"))
        << result.errors[3];
}

TEST(AlfredSnippetImporter, DamagedArchivesAreRefused)
{
    Packs packs;
    auto valid = packs.zip("valid.zip",
        { file("a.json", snippetJSON(R"("snippet": ")" + std::string(4000, 'a') + R"(")")),
            file("b.json", snippetJSON(R"("snippet": "b")")) });
    std::ifstream stream(valid, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());

    auto flipped = bytes;
    for (std::size_t index = 60; index < 200; ++index)
        flipped[index] = static_cast<char>(flipped[index] ^ 0x5A);
    for (auto& [name, contents] : std::vector<std::pair<std::string, std::string>> {
             { "truncated.alfredsnippets", bytes.substr(0, bytes.size() / 2) },
             { "flipped.alfredsnippets", flipped },
             { "random.alfredsnippets", std::string(512, '\x9c') } }) {
        SCOPED_TRACE(name);
        auto error = packs.error(packs.bytes(name, contents));
        EXPECT_TRUE(error.starts_with(name + ": The file is not a readable zip archive")
            || error.starts_with(name + ": The zip archive is damaged"))
            << error;
    }
}

TEST(AlfredSnippetImporter, EntriesThatReachOutsideTheFolderAreRefused)
{
    Packs packs;
    auto outside = packs.folder() / "outside";
    std::filesystem::create_directory(outside);
    writeFile(outside / "secret.json", snippetJSON(R"("snippet": "secret")"));
    auto valid = file("a.json", snippetJSON(R"("snippet": "a")"));
    struct Case {
        const char* name;
        std::vector<Entry> entries;
        const char* message;
    };
    const Case cases[] = {
        { "dotdot", { valid, file("../escaped.json", "{}") },
            "The archive holds an entry outside the folder it unpacks into: \"../escaped.json\"." },
        { "inner-dotdot", { file("a/../../escaped.json", "{}") },
            "The archive holds an entry outside the folder it unpacks into: "
            "\"a/../../escaped.json\"." },
        { "absolute", { file((outside / "absolute.json").string(), "{}") },
            "The archive holds an entry outside the folder it unpacks into: \"" },
        { "absolute-link", { link("secret.json", (outside / "secret.json").string()) },
            "The archive holds a link that points outside the folder it unpacks into: "
            "\"secret.json\"." },
        { "relative-link", { valid, link("up.json", "../../outside/secret.json") },
            "The archive holds a link that points outside the folder it unpacks into: "
            "\"up.json\"." },
        // Each link alone stays inside; together "a" climbs out through "b".
        { "chained-links", { link("a", "b/.."), link("b", ".") },
            "The archive holds a link that points outside the folder it unpacks into: \"a\"." },
        // Nothing is written through a link: the link makes way for a folder, so the snippet does
        // not land at the top where the link pointed.
        { "through-link",
            { link("dir", "."), file("dir/x.json", snippetJSON(R"("snippet": "x")")) },
            "The pack holds no snippets that could be read." },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        auto error = packs.error(
            packs.zip(std::string(testCase.name) + ".alfredsnippets", testCase.entries));
        EXPECT_TRUE(
            error.starts_with(std::string(testCase.name) + ".alfredsnippets: " + testCase.message))
            << error;
    }
    // Nothing reached the folders around the unpacking.
    EXPECT_FALSE(std::filesystem::exists(packs.folder() / "escaped.json"));
    EXPECT_FALSE(std::filesystem::exists(outside / "absolute.json"));
    EXPECT_FALSE(std::filesystem::exists(outside / "x.json"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(outside), {}), 1);
}

TEST(AlfredSnippetImporter, ZipBombsMeetTheCaps)
{
    Packs packs;
    // 65 MB of zeros deflate to about 64 KB.
    auto bomb = packs.zip("bomb.alfredsnippets",
        { file("a.json", snippetJSON(R"("snippet": "a")")),
            { .name = "zeros.json", .zeros = 65 << 20 } });
    EXPECT_LT(std::filesystem::file_size(bomb), 1u << 20);
    EXPECT_EQ(packs.error(bomb),
        "bomb.alfredsnippets: The archive unpacks to more than 64 MB, which is more than is "
        "allowed.");

    std::vector<Entry> many;
    for (int index = 0; index < 5; ++index)
        many.push_back(file(std::to_string(index) + ".json", snippetJSON(R"("snippet": "many")")));
    auto manyPack = packs.zip("many.alfredsnippets", many);
    EXPECT_EQ(packs.error(manyPack, { .maximumEntries = 4 }),
        "many.alfredsnippets: The archive holds more than 4 entries, which is more than is "
        "allowed.");
    EXPECT_EQ(packs.error(manyPack, { .maximumEntries = 5 }), "");
    // Small entries add up.
    EXPECT_TRUE(packs.error(manyPack, { .maximumBytes = 100 }).ends_with("more than is allowed."));
}

} // namespace zeph
