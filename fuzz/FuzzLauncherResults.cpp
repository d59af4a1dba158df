// Arbitrary typed text, in a mode chosen by the first byte, through the launcher's answer over a
// small fixed world: it never fails, every row it shows has a title, and all of it encodes as JSON.
#include "Search/LauncherResults.h"
#include "Support/Json.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <string_view>

namespace {

using namespace zeph;

// Directories in memory, so that inputs never touch the disk.
class MemoryFileManager final : public FileNavigator::FileManager {
public:
    std::optional<std::vector<std::string>> contentsOfDirectory(
        const std::string& path) const override
    {
        if (path == "/" || path == "/home/fuzz")
            return std::vector<std::string> { "docs", ".hidden", "Tool.app", "notes.txt" };
        return std::nullopt;
    }
    bool isDirectory(const std::string& path) const override { return !path.ends_with(".txt"); }
};

Date fixedNow()
{
    return Date(std::chrono::seconds(1'790'000'000));
}

SearchEngine& engine()
{
    static KnowledgeBase knowledge;
    static MemoryFileManager files;
    static SearchEngine engine(SearchSettings {}, knowledge, fixedNow, "/home/fuzz", files);
    static bool isFilled = [] {
        engine.setApplications({ { .id = "a", .title = "Firefox", .kind = ItemKind::application },
            { .id = "b", .title = "Files", .kind = ItemKind::application } });
        engine.setWorkflows({ { .id = "w",
            .nodes = { { .id = "n",
                .kind = NodeKind::ListFilter {
                    .keyword = "col", .items = { { "r", "Red", "", "#f00" } } } } } } });
        engine.setSnippets({ SnippetCollection::starter() });
        engine.setClipboard(
            { { .id = "1", .text = "copied text" }, { .id = "2", .text = "pin", .pinned = true } });
        knowledge.record("fi", "a", fixedNow());
        return true;
    }();
    verify(isFilled);
    return engine;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    auto modes = allCases<LauncherMode>();
    std::optional<LauncherMode> mode;
    if (data[0] < modes.size())
        mode = modes[data[0]];
    std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    auto results = LauncherResults::build(text, mode, engine());
    for (auto& section : results.sections) {
        for (auto& result : section.results)
            verify(result.item.kind == ItemKind::folder || !result.item.title.empty());
    }
    verify(Json::documentText(toJSON(results)).has_value());
    auto merged = results.mergingFiles(
        { { .id = "/f", .title = sanitizedUTF8(text), .kind = ItemKind::file, .path = "/f" } },
        engine());
    verify(Json::documentText(toJSON(merged)).has_value());
    return 0;
}
