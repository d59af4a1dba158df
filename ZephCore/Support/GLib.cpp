#include "Support/GLib.h"

#include "Support/SharedLibrary.h"

namespace zeph {

const GLib* GLib::shared()
{
    static const GLib* const loaded = []() -> const GLib* {
        static GLib glib;
        SharedLibrary library("libglib-2.0.so.0");
        bool isResolved = library.resolve("g_free", glib.free)
            && library.resolve("g_strfreev", glib.freeStrings)
            && library.resolve("g_clear_error", glib.clearError)
            && library.resolve("g_find_program_in_path", glib.findProgramInPath)
            && library.resolve("g_filename_from_uri", glib.filenameFromURI)
            && library.resolve("g_date_time_to_unix", glib.dateTimeToUnix)
            && library.resolve("g_key_file_new", glib.keyFileNew)
            && library.resolve("g_key_file_free", glib.keyFileFree)
            && library.resolve("g_key_file_load_from_data", glib.keyFileLoadFromData)
            && library.resolve("g_key_file_has_group", glib.keyFileHasGroup)
            && library.resolve("g_key_file_get_value", glib.keyFileGetValue)
            && library.resolve("g_key_file_get_locale_for_key", glib.keyFileGetLocaleForKey)
            && library.resolve("g_bookmark_file_new", glib.bookmarkFileNew)
            && library.resolve("g_bookmark_file_free", glib.bookmarkFileFree)
            && library.resolve("g_bookmark_file_load_from_data", glib.bookmarkFileLoadFromData)
            && library.resolve("g_bookmark_file_get_uris", glib.bookmarkFileGetURIs)
            && library.resolve(
                "g_bookmark_file_get_added_date_time", glib.bookmarkFileGetAddedDateTime)
            && library.resolve(
                "g_bookmark_file_get_modified_date_time", glib.bookmarkFileGetModifiedDateTime)
            && library.resolve(
                "g_bookmark_file_get_visited_date_time", glib.bookmarkFileGetVisitedDateTime)
            && library.resolve("g_variant_new", glib.variantNew)
            && library.resolve("g_variant_get", glib.variantGet)
            && library.resolve("g_variant_unref", glib.variantUnref);
        return isResolved ? &glib : nullptr;
    }();
    return loaded;
}

} // namespace zeph
