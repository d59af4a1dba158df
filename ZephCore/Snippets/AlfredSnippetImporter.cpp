#include "Snippets/AlfredSnippetImporter.h"

#include "Support/InputBuffer.h"
#include "Support/Json.h"
#include "Support/SharedLibrary.h"
#include "Support/Text.h"
#include "Support/UUID.h"

#include <algorithm>
#include <limits>
#include <memory>

#include <plist/plist.h>

namespace zeph::AlfredSnippetImporter {

namespace {

// libplist, opened by the one command that reads a pack: linked in, its loading would fall on
// every run of the command line.
struct PropertyLists {
    decltype(&plist_from_memory) fromMemory = nullptr;
    decltype(&plist_free) free = nullptr;
    decltype(&plist_get_node_type) nodeType = nullptr;
    decltype(&plist_dict_get_item) item = nullptr;
    decltype(&plist_get_string_ptr) stringPointer = nullptr;

    // Null when libplist cannot be loaded.
    static const PropertyLists* shared()
    {
        static const PropertyLists* const loaded = []() -> const PropertyLists* {
            static PropertyLists lists;
            SharedLibrary library("libplist-2.0.so.3");
            bool isResolved = library.resolve("plist_from_memory", lists.fromMemory)
                && library.resolve("plist_free", lists.free)
                && library.resolve("plist_get_node_type", lists.nodeType)
                && library.resolve("plist_dict_get_item", lists.item)
                && library.resolve("plist_get_string_ptr", lists.stringPointer);
            return isResolved ? &lists : nullptr;
        }();
        return loaded;
    }
};

std::string plistString(const PropertyLists& lists, plist_t dictionary, const char* key)
{
    auto* node = lists.item(dictionary, key);
    if (!node || lists.nodeType(node) != PLIST_STRING)
        return {};
    // Not plist_get_string_val: it asserts, and so aborts the process, on a string that holds a
    // NUL byte, which a crafted binary plist can.
    std::uint64_t length = 0;
    auto* value = lists.stringPointer(node, &length);
    if (!value)
        return {};
    std::string_view text(value, static_cast<std::size_t>(length));
    return sanitizedUTF8(text.substr(0, text.find('\0')));
}

// A regular file's bytes, or nothing; a link counts as what it points to.
std::optional<InputBuffer> fileBytes(const std::filesystem::path& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    auto buffer = InputBuffer::readFile(path.string());
    if (!buffer)
        return std::nullopt;
    return std::move(*buffer);
}

// Removes the folder it was given on every way out.
class TemporaryFolder {
public:
    explicit TemporaryFolder(std::filesystem::path path)
        : m_path(std::move(path))
    {
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

private:
    std::filesystem::path m_path;
};

Result<SnippetCollection> importPack(const std::filesystem::path& file,
    const std::filesystem::path& temporaryDirectory, const ZipArchive::Limits& limits)
{
    auto folder = temporaryDirectory / makeUUID();
    std::error_code error;
    if (!std::filesystem::create_directory(folder, error))
        return Error { "The folder " + folder.string()
            + " could not be made: " + (error ? error.message() : "it exists already") + "." };
    TemporaryFolder removal(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
    if (auto failure = ZipArchive::extract(file, folder, limits))
        return *failure;
    return collection(file.stem().string(), folder);
}

} // namespace

std::string message(ImportError error)
{
    switch (error) {
    case ImportError::noSnippets:
        return "The pack holds no snippets that could be read.";
    }
    return {};
}

PackInfo packInfo(std::string_view bytes)
{
    const auto* lists = PropertyLists::shared();
    if (!lists || bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return {};
    plist_t root = nullptr;
    lists->fromMemory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    std::unique_ptr<void, decltype(&plist_free)> owner(root, lists->free);
    if (!root || lists->nodeType(root) != PLIST_DICT)
        return {};
    return { .prefix = plistString(*lists, root, "snippetkeywordprefix"),
        .suffix = plistString(*lists, root, "snippetkeywordsuffix") };
}

std::optional<Snippet> snippet(std::string_view bytes)
{
    auto json = Json::parse(bytes);
    if (!json || !json->is_object())
        return std::nullopt;
    auto found = json->find("alfredsnippet");
    if (found == json->end() || !found->is_object())
        return std::nullopt;
    auto& fields = *found;
    std::string content;
    std::optional<std::string> uid, name, keyword;
    std::optional<bool> dontAutoExpand;
    if (Json::firstError({
            Json::read(fields, "snippet", content),
            Json::read(fields, "uid", uid),
            Json::read(fields, "name", name),
            Json::read(fields, "keyword", keyword),
            Json::read(fields, "dontautoexpand", dontAutoExpand),
        }))
        return std::nullopt;
    // An empty uid names nothing: the snippet gets an id of its own, as without one.
    return Snippet { .id = uid && !uid->empty() ? *uid : makeUUID(),
        .name = name  ? *name
            : keyword ? *keyword
                      : "Snippet",
        .keyword = keyword.value_or(""),
        .content = convertPlaceholders(content),
        .autoExpands = !dontAutoExpand.value_or(false) };
}

Result<SnippetCollection> collection(std::string name, const std::filesystem::path& directory)
{
    PackInfo info;
    if (auto plist = fileBytes(directory / "info.plist"))
        info = packInfo(plist->text());

    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entries(directory, error), end;
         !error && entries != end; entries.increment(error))
        files.push_back(entries->path());
    if (error)
        files.clear();
    std::sort(files.begin(), files.end(), [](auto& first, auto& second) {
        return first.filename().native() < second.filename().native();
    });

    SnippetCollection result { .id = makeUUID(),
        .name = std::move(name),
        .prefix = std::move(info.prefix),
        .suffix = std::move(info.suffix) };
    for (auto& file : files) {
        if (lowercasedText(file.extension().string()) != ".json")
            continue;
        auto bytes = fileBytes(file);
        if (!bytes)
            continue;
        if (auto decoded = snippet(bytes->text()))
            result.snippets.push_back(std::move(*decoded));
    }
    if (result.snippets.empty())
        return Error { message(ImportError::noSnippets) };
    return result;
}

std::string convertPlaceholders(std::string_view text)
{
    constexpr std::string_view head = "{clipboard:";
    std::string result;
    std::size_t position = 0;
    for (;;) {
        auto start = text.find(head, position);
        auto close = start == std::string_view::npos ? start : text.find('}', start + head.size());
        if (close == std::string_view::npos)
            break;
        result.append(text.substr(position, start - position)).append("{clipboard}");
        position = close + 1;
    }
    return result.append(text.substr(position));
}

PackImport importPacks(const std::vector<std::filesystem::path>& files,
    const std::filesystem::path& temporaryDirectory, const ZipArchive::Limits& limits)
{
    PackImport result;
    for (auto& file : files) {
        auto imported = importPack(file, temporaryDirectory, limits);
        if (imported)
            result.collections.push_back(std::move(*imported));
        else
            result.errors.push_back(file.filename().string() + ": " + imported.error().message);
    }
    return result;
}

} // namespace zeph::AlfredSnippetImporter
