#include "Logic/ItemDescriber.h"

#include "Search/FileNavigator.h"
#include "Support/Calendar.h"

#include <sys/stat.h>

namespace zeph {

namespace {

constexpr std::string_view clipboardPrefix = "clip:";

std::string sizeInWords(std::uint64_t bytes)
{
    constexpr std::array<const char*, 4> units { "KB", "MB", "GB", "TB" };
    if (bytes < 1000)
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (value /= 1000; value >= 1000 && unit + 1 < units.size(); value /= 1000)
        ++unit;
    char text[32];
    std::snprintf(text, sizeof text, value < 10 ? "%.1f %s" : "%.0f %s", value, units[unit]);
    return text;
}

std::string momentInWords(std::int64_t seconds)
{
    return Calendar::current().format(
        Date(std::chrono::seconds(seconds)), Calendar::Style::medium, Calendar::Style::short_);
}

// What the file system tells of a file or folder: its size or number of entries, its change.
std::vector<DetailMetadata> fileMetadata(
    const std::string& path, bool isFolder, std::string_view home)
{
    std::vector<DetailMetadata> metadata;
    struct stat status { };
    if (stat(path.c_str(), &status) != 0)
        return metadata;
    if (isFolder) {
        std::error_code error;
        std::size_t count = 0;
        for (auto iterator = std::filesystem::directory_iterator(path, error);
             !error && iterator != std::filesystem::directory_iterator(); iterator.increment(error))
            ++count;
        metadata.push_back({ "Contains", std::to_string(count) + " items" });
    } else {
        metadata.push_back({ "Size", sizeInWords(static_cast<std::uint64_t>(status.st_size)) });
    }
    metadata.push_back({ "Modified", momentInWords(status.st_mtime) });
    auto slash = path.rfind('/');
    auto folder = slash == 0 ? std::string("/") : path.substr(0, slash);
    metadata.push_back({ "Where", FileNavigator::abbreviate(folder, home) });
    return metadata;
}

bool isPicture(std::string_view path)
{
    auto dot = path.rfind('.');
    if (dot == std::string_view::npos)
        return false;
    auto extension = lowercasedText(path.substr(dot + 1));
    for (auto known :
        { "png", "jpg", "jpeg", "gif", "webp", "bmp", "svg", "tif", "tiff", "heic" }) {
        if (extension == known)
            return true;
    }
    return false;
}

} // namespace

std::optional<ClipboardItem> ItemDescriber::clipboardItem(const SearchItem& item) const
{
    if (item.kind != ItemKind::clipboard || !item.id.starts_with(clipboardPrefix))
        return std::nullopt;
    auto* found = m_model.clipboardHistory().get().item(
        std::string_view(item.id).substr(clipboardPrefix.size()));
    return found ? std::optional(*found) : std::nullopt;
}

DetailContent ItemDescriber::detail(const LauncherDisplay::Row& row) const
{
    auto& item = row.result.item;
    DetailContent content { .id = item.id,
        .hero = DetailHeroes::Symbol { item.symbolName.value_or("doc") },
        .title = item.title,
        .subtitle = item.subtitle };
    auto& home = m_model.engine().home();
    switch (item.kind) {
    case ItemKind::file:
    case ItemKind::folder:
        if (item.path) {
            bool isFolder = item.kind == ItemKind::folder;
            if (!isFolder && isPicture(*item.path))
                content.hero = DetailHeroes::Picture { *item.path };
            else
                content.hero = DetailHeroes::Tile { .iconName = isFolder ? "folder" : "doc",
                    .path = item.path };
            content.metadata = fileMetadata(*item.path, isFolder, home);
        }
        break;
    case ItemKind::application:
    case ItemKind::systemSetting:
        content.hero
            = DetailHeroes::Tile { .iconName = item.symbolName.value_or(""), .path = item.path };
        break;
    case ItemKind::calculator:
        // The subtitle is the expression and a hint after a dash.
        content.hero
            = DetailHeroes::Calculation { item.subtitle.substr(0, item.subtitle.find(" — ")),
                  item.argument.value_or(item.title) };
        break;
    case ItemKind::snippet:
        content.hero = DetailHeroes::Text { item.argument.value_or(""), false };
        break;
    case ItemKind::clipboard:
        if (auto entry = clipboardItem(item)) {
            if (entry->kind == ClipboardKind::image && entry->imageFile)
                content.hero = DetailHeroes::Image {
                    (m_model.clipboardImagesFolder() / *entry->imageFile).string()
                };
            else
                content.hero
                    = DetailHeroes::Text { entry->text, entry->kind == ClipboardKind::code };
            if (entry->sourceApp)
                content.metadata.push_back({ "Copied from", *entry->sourceApp });
            content.metadata.push_back(
                { "Copied", momentInWords(entry->date.time_since_epoch().count()) });
        }
        break;
    default:
        break;
    }
    return content;
}

} // namespace zeph
