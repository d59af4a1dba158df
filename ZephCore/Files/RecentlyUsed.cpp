#include "Files/RecentlyUsed.h"

#include <algorithm>
#include <fstream>
#include <glib.h>
#include <memory>
#include <sstream>

namespace zeph {

namespace {

struct BookmarkFileFree {
    void operator()(GBookmarkFile* file) const { g_bookmark_file_free(file); }
};

std::int64_t seconds(GDateTime* moment)
{
    return moment ? g_date_time_to_unix(moment) : 0;
}

} // namespace

RecentlyUsed parseRecentlyUsed(std::string_view text)
{
    RecentlyUsed used;
    std::unique_ptr<GBookmarkFile, BookmarkFileFree> bookmarks(g_bookmark_file_new());
    GError* error = nullptr;
    if (!g_bookmark_file_load_from_data(bookmarks.get(), text.data(), text.size(), &error)) {
        g_clear_error(&error);
        return used;
    }
    gsize count = 0;
    gchar** uris = g_bookmark_file_get_uris(bookmarks.get(), &count);
    for (gsize index = 0; index < count; ++index) {
        gchar* path = g_filename_from_uri(uris[index], nullptr, nullptr);
        if (!path)
            continue; // Not a local file.
        auto moment = std::max({
            seconds(g_bookmark_file_get_added_date_time(bookmarks.get(), uris[index], nullptr)),
            seconds(g_bookmark_file_get_modified_date_time(bookmarks.get(), uris[index], nullptr)),
            seconds(g_bookmark_file_get_visited_date_time(bookmarks.get(), uris[index], nullptr)),
        });
        auto& known = used[path];
        known = std::max(known, moment);
        g_free(path);
    }
    g_strfreev(uris);
    return used;
}

RecentlyUsed readRecentlyUsed(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return {};
    std::ostringstream text;
    text << stream.rdbuf();
    return parseRecentlyUsed(text.view());
}

std::filesystem::path recentlyUsedFile(std::string_view home, std::string_view xdgDataHome)
{
    std::filesystem::path folder = xdgDataHome.starts_with('/')
        ? std::filesystem::path(xdgDataHome)
        : std::filesystem::path(home) / ".local/share";
    return folder / "recently-used.xbel";
}

} // namespace zeph
