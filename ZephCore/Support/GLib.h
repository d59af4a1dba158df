#pragma once

#include <glib.h>

namespace zeph {

// The GLib functions the core calls, from the library opened on first use. Linked in, loading
// GLib and setting it up would cost every run of the command line about a third of a
// millisecond, and most runs never read a desktop entry or the recently used list.
struct GLib {
    decltype(&g_free) free = nullptr;
    decltype(&g_strfreev) freeStrings = nullptr;
    decltype(&g_clear_error) clearError = nullptr;
    decltype(&g_find_program_in_path) findProgramInPath = nullptr;
    decltype(&g_filename_from_uri) filenameFromURI = nullptr;
    decltype(&g_date_time_to_unix) dateTimeToUnix = nullptr;
    decltype(&g_key_file_new) keyFileNew = nullptr;
    decltype(&g_key_file_free) keyFileFree = nullptr;
    decltype(&g_key_file_load_from_data) keyFileLoadFromData = nullptr;
    decltype(&g_key_file_has_group) keyFileHasGroup = nullptr;
    decltype(&g_key_file_get_value) keyFileGetValue = nullptr;
    decltype(&g_key_file_get_locale_for_key) keyFileGetLocaleForKey = nullptr;
    decltype(&g_bookmark_file_new) bookmarkFileNew = nullptr;
    decltype(&g_bookmark_file_free) bookmarkFileFree = nullptr;
    decltype(&g_bookmark_file_load_from_data) bookmarkFileLoadFromData = nullptr;
    decltype(&g_bookmark_file_get_uris) bookmarkFileGetURIs = nullptr;
    decltype(&g_bookmark_file_get_added_date_time) bookmarkFileGetAddedDateTime = nullptr;
    decltype(&g_bookmark_file_get_modified_date_time) bookmarkFileGetModifiedDateTime = nullptr;
    decltype(&g_bookmark_file_get_visited_date_time) bookmarkFileGetVisitedDateTime = nullptr;
    decltype(&g_variant_new) variantNew = nullptr;
    decltype(&g_variant_get) variantGet = nullptr;
    decltype(&g_variant_unref) variantUnref = nullptr;

    // Null when GLib cannot be loaded.
    static const GLib* shared();
};

} // namespace zeph
