#include "Files/ContentTypes.h"

#include "Support/SharedLibrary.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeph {

namespace {

struct TypeMapping {
    std::string_view identifier {};
    // MIME types that conform, with their subclasses; a trailing "*" takes every type that starts
    // with what comes before it.
    std::span<const std::string_view> mimeTypes {};
};

constexpr std::array<std::string_view, 1> folderTypes { "inode/directory" };
constexpr std::array<std::string_view, 14> compositeTypes { "application/pdf",
    "application/postscript", "application/epub+zip", "image/vnd.djvu", "application/oxps",
    "application/vnd.oasis.opendocument.text*", "application/vnd.oasis.opendocument.spreadsheet*",
    "application/vnd.oasis.opendocument.presentation*", "application/msword",
    "application/vnd.openxmlformats-officedocument.*", "application/vnd.ms-excel",
    "application/vnd.ms-powerpoint", "application/vnd.apple.pages", "application/x-abiword" };
constexpr std::array<std::string_view, 1> wordTypes { "application/msword" };
constexpr std::array<std::string_view, 1> wordXMLTypes {
    "application/vnd.openxmlformats-officedocument.wordprocessingml.document"
};
constexpr std::array<std::string_view, 2> pagesTypes { "application/vnd.apple.pages",
    "application/x-iwork-pages-sffpages" };
constexpr std::array<std::string_view, 5> spreadsheetTypes { "application/vnd.ms-excel",
    "application/vnd.openxmlformats-officedocument.spreadsheetml.*",
    "application/vnd.oasis.opendocument.spreadsheet*", "application/vnd.apple.numbers",
    "application/x-gnumeric" };
constexpr std::array<std::string_view, 4> presentationTypes { "application/vnd.ms-powerpoint",
    "application/vnd.openxmlformats-officedocument.presentationml.*",
    "application/vnd.oasis.opendocument.presentation*", "application/vnd.apple.keynote" };
constexpr std::array<std::string_view, 2> rtfTypes { "application/rtf", "text/rtf" };
constexpr std::array<std::string_view, 1> imageTypes { "image/*" };
constexpr std::array<std::string_view, 1> pdfTypes { "application/pdf" };
// The database has no common parent of program text; most of it lives under "text/x-".
constexpr std::array<std::string_view, 13> sourceTypes { "text/x-*", "text/rust", "text/javascript",
    "application/javascript", "application/typescript", "text/css", "application/x-shellscript",
    "application/x-perl", "application/x-ruby", "application/x-php", "application/x-m4",
    "application/sql", "application/x-awk" };
constexpr std::array<std::string_view, 1> plainTextTypes { "text/plain" };
constexpr std::array<std::string_view, 12> scriptTypes { "application/x-shellscript",
    "application/x-csh", "application/x-perl", "application/x-ruby", "application/x-php",
    "text/x-python", "text/x-python3", "text/x-lua", "text/x-tcl", "application/javascript",
    "text/javascript", "application/x-awk" };
constexpr std::array<std::string_view, 1> jsonTypes { "application/json" };
constexpr std::array<std::string_view, 2> xmlTypes { "application/xml", "text/xml" };
constexpr std::array<std::string_view, 6> audiovisualTypes { "video/*", "audio/*",
    "application/ogg", "application/x-matroska", "application/vnd.rn-realmedia",
    "application/x-shockwave-flash" };
constexpr std::array<std::string_view, 1> audioTypes { "audio/*" };
constexpr std::array<std::string_view, 22> archiveTypes { "application/zip", "application/x-tar",
    "application/gzip", "application/x-bzip", "application/x-bzip2", "application/x-xz",
    "application/x-lzma", "application/x-lzip", "application/x-lz4", "application/zstd",
    "application/x-compress", "application/x-7z-compressed", "application/vnd.rar",
    "application/x-rar", "application/x-cpio", "application/x-archive", "application/java-archive",
    "application/vnd.debian.binary-package", "application/x-rpm", "application/x-arj",
    "application/x-lha", "application/x-*-compressed-tar" };
constexpr std::array<std::string_view, 8> diskImageTypes { "application/x-cd-image",
    "application/x-iso9660-image", "application/x-apple-diskimage", "application/x-raw-disk-image",
    "application/vnd.efi.img", "application/vnd.efi.iso", "application/x-qemu-disk",
    "application/x-virtualbox-*" };

// Every identifier the file categories name, each with its bit: its place in this table.
constexpr std::array<TypeMapping, 19> mappings { {
    { "public.folder", folderTypes },
    { "public.composite-content", compositeTypes },
    { "com.microsoft.word.doc", wordTypes },
    { "org.openxmlformats.wordprocessingml.document", wordXMLTypes },
    { "com.apple.iwork.pages.sffpages", pagesTypes },
    { "public.spreadsheet", spreadsheetTypes },
    { "public.presentation", presentationTypes },
    { "public.rtf", rtfTypes },
    { "public.image", imageTypes },
    { "com.adobe.pdf", pdfTypes },
    { "public.source-code", sourceTypes },
    { "public.plain-text", plainTextTypes },
    { "public.script", scriptTypes },
    { "public.json", jsonTypes },
    { "public.xml", xmlTypes },
    { "public.audiovisual-content", audiovisualTypes },
    { "public.audio", audioTypes },
    { "public.archive", archiveTypes },
    { "public.disk-image", diskImageTypes },
} };
static_assert(mappings.size() <= 32);

// GIO's content types, loaded when first needed: linking GIO would start its type system in every
// process of the command line, most of which never look at a file's type.
struct GIO {
    decltype(&g_content_type_guess) guess = nullptr;
    decltype(&g_content_type_is_a) isA = nullptr;
    decltype(&g_free) free = nullptr;

    static const GIO& shared()
    {
        static const GIO loaded = [] {
            GIO gio;
            SharedLibrary library("libgio-2.0.so.0");
            bool isResolved = library.resolve("g_content_type_guess", gio.guess)
                && library.resolve("g_content_type_is_a", gio.isA)
                && library.resolve("g_free", gio.free);
            return isResolved ? gio : GIO {};
        }();
        return loaded;
    }
};

// What the name alone tells, when the database knows it.
constexpr std::string_view unknownType = "application/octet-stream";
// Enough for every magic rule that matters; the database's own readers look at as much.
constexpr std::size_t sniffedBytes = 4096;

bool conforms(const GIO& gio, const std::string& type, std::string_view pattern)
{
    if (auto star = pattern.find('*'); star != std::string_view::npos) {
        std::string_view text = type;
        auto head = pattern.substr(0, star);
        auto tail = pattern.substr(star + 1);
        return text.size() >= head.size() + tail.size() && text.starts_with(head)
            && text.ends_with(tail);
    }
    return type == pattern || (gio.isA && gio.isA(type.c_str(), std::string(pattern).c_str()));
}

std::string guessed(const GIO& gio, const char* name, const guchar* data, std::size_t size)
{
    gboolean isUncertain = false;
    gchar* type = gio.guess(name, data, size, &isUncertain);
    std::string text = type ? type : std::string(unknownType);
    gio.free(type);
    return text;
}

} // namespace

ContentTypes::Bits ContentTypes::bit(std::string_view identifier)
{
    auto found = std::find_if(mappings.begin(), mappings.end(),
        [&](const TypeMapping& mapping) { return mapping.identifier == identifier; });
    return found == mappings.end() ? 0 : Bits { 1 } << (found - mappings.begin());
}

ContentTypes::Bits ContentTypes::bits(std::span<const std::string_view> identifiers)
{
    Bits bits = 0;
    for (auto identifier : identifiers)
        bits |= bit(identifier);
    return bits;
}

ContentTypes::Bits ContentTypes::folder()
{
    return bit("public.folder");
}

ContentTypes::Bits ContentTypes::text()
{
    static constexpr std::array<std::string_view, 5> textual { "public.source-code",
        "public.plain-text", "public.script", "public.json", "public.xml" };
    return bits(textual);
}

ContentTypes::Bits ContentTypes::ofMIMEType(const std::string& type)
{
    if (auto cached = m_cache.find(type); cached != m_cache.end())
        return cached->second;
    auto& gio = GIO::shared();
    Bits bits = 0;
    for (std::size_t index = 0; index < mappings.size(); ++index) {
        if (std::any_of(mappings[index].mimeTypes.begin(), mappings[index].mimeTypes.end(),
                [&](std::string_view pattern) { return conforms(gio, type, pattern); }))
            bits |= Bits { 1 } << index;
    }
    m_cache.emplace(type, bits);
    return bits;
}

ContentTypes::Bits ContentTypes::ofEntry(
    int folderDescriptor, const char* name, const struct stat& status)
{
    if (S_ISDIR(status.st_mode))
        return folder();
    auto& gio = GIO::shared();
    if (!gio.guess)
        return 0;
    auto type = guessed(gio, name, nullptr, 0);
    if (type != unknownType || !S_ISREG(status.st_mode) || status.st_size == 0)
        return ofMIMEType(type);
    // Non-blocking, so that a file a device stands behind cannot hold the crawl.
    int file = openat(folderDescriptor, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0)
        return ofMIMEType(type);
    std::array<guchar, sniffedBytes> head {};
    auto length = read(file, head.data(), head.size());
    close(file);
    if (length > 0)
        type = guessed(gio, name, head.data(), static_cast<std::size_t>(length));
    return ofMIMEType(type);
}

} // namespace zeph
