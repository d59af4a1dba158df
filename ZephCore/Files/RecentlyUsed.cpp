#include "Files/RecentlyUsed.h"

#include "Support/GLib.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>

namespace zeph {

RecentlyUsed parseRecentlyUsed(std::string_view text)
{
    RecentlyUsed used;
    const auto* glib = GLib::shared();
    if (!glib)
        return used;
    std::unique_ptr<GBookmarkFile, void (*)(GBookmarkFile*)> bookmarks(
        glib->bookmarkFileNew(), glib->bookmarkFileFree);
    GError* error = nullptr;
    if (!glib->bookmarkFileLoadFromData(bookmarks.get(), text.data(), text.size(), &error)) {
        glib->clearError(&error);
        return used;
    }
    auto seconds = [glib](GDateTime* moment) { return moment ? glib->dateTimeToUnix(moment) : 0; };
    gsize count = 0;
    gchar** uris = glib->bookmarkFileGetURIs(bookmarks.get(), &count);
    for (gsize index = 0; index < count; ++index) {
        gchar* path = glib->filenameFromURI(uris[index], nullptr, nullptr);
        if (!path)
            continue; // Not a local file.
        auto moment = std::max({
            seconds(glib->bookmarkFileGetAddedDateTime(bookmarks.get(), uris[index], nullptr)),
            seconds(glib->bookmarkFileGetModifiedDateTime(bookmarks.get(), uris[index], nullptr)),
            seconds(glib->bookmarkFileGetVisitedDateTime(bookmarks.get(), uris[index], nullptr)),
        });
        auto& known = used[path];
        known = std::max(known, moment);
        glib->free(path);
    }
    glib->freeStrings(uris);
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
