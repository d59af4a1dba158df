#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

struct stat;

namespace zeph {

// The content types a file conforms to, as bits of the type identifiers that the file categories
// name ("public.image", "public.folder", …). A file's MIME type comes from the shared MIME database
// by its name, and from its first bytes only when the name says nothing; one table maps MIME types
// to the identifiers, following the database's subclasses, so "text/x-python" is plain text too.
class ContentTypes {
public:
    using Bits = std::uint32_t;

    // The bits of these identifiers; an identifier no category names has none.
    static Bits bits(std::span<const std::string_view> identifiers);
    static Bits bit(std::string_view identifier);
    static Bits folder();
    // The identifiers whose files the content index reads: text of every kind.
    static Bits text();

    // The types of the entry `name` in the open folder `folderDescriptor`, as `status` describes
    // it. Only a regular file is ever opened, and only when its name says nothing.
    Bits ofEntry(int folderDescriptor, const char* name, const struct stat& status);
    // The types of a MIME type.
    Bits ofMIMEType(const std::string& type);

private:
    std::unordered_map<std::string, Bits> m_cache;
};

} // namespace zeph
