#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <plist/plist.h>

// Snippet packs made by the tests themselves: a zip archive of any entries, and info.plist files.
namespace zeph::SnippetPack {

struct Entry {
    std::string name {};
    std::string contents {};
    enum class Kind { file, folder, link } kind = Kind::file;
    std::string linkTarget {};
    std::size_t zeros = 0; // Appended to the contents without holding them in memory.
};

inline Entry file(std::string name, std::string contents)
{
    return { .name = std::move(name), .contents = std::move(contents) };
}

inline Entry link(std::string name, std::string target)
{
    return { .name = std::move(name), .kind = Entry::Kind::link, .linkTarget = std::move(target) };
}

// Writes a deflated zip archive; false if libarchive refused.
inline bool writeZip(const std::filesystem::path& path, const std::vector<Entry>& entries)
{
    std::unique_ptr<archive, decltype(&archive_write_free)> writer(
        archive_write_new(), archive_write_free);
    archive_write_set_format_zip(writer.get());
    if (archive_write_open_filename(writer.get(), path.c_str()) != ARCHIVE_OK)
        return false;
    for (auto& entry : entries) {
        std::unique_ptr<archive_entry, decltype(&archive_entry_free)> header(
            archive_entry_new(), archive_entry_free);
        archive_entry_set_pathname(header.get(), entry.name.c_str());
        switch (entry.kind) {
        case Entry::Kind::file:
            archive_entry_set_filetype(header.get(), AE_IFREG);
            archive_entry_set_perm(header.get(), 0644);
            archive_entry_set_size(
                header.get(), static_cast<la_int64_t>(entry.contents.size() + entry.zeros));
            break;
        case Entry::Kind::folder:
            archive_entry_set_filetype(header.get(), AE_IFDIR);
            archive_entry_set_perm(header.get(), 0755);
            break;
        case Entry::Kind::link:
            archive_entry_set_filetype(header.get(), AE_IFLNK);
            archive_entry_set_perm(header.get(), 0777);
            archive_entry_set_symlink(header.get(), entry.linkTarget.c_str());
            break;
        }
        if (archive_write_header(writer.get(), header.get()) != ARCHIVE_OK)
            return false;
        archive_write_data(writer.get(), entry.contents.data(), entry.contents.size());
        std::string zeros(1 << 20, '\0');
        for (std::size_t left = entry.zeros; left > 0;) {
            auto size = std::min(left, zeros.size());
            archive_write_data(writer.get(), zeros.data(), size);
            left -= size;
        }
    }
    return archive_write_close(writer.get()) == ARCHIVE_OK;
}

enum class PlistFormat { xml, binary };

// An info.plist dictionary of string values.
inline std::string plist(
    const std::vector<std::pair<std::string, std::string>>& strings, PlistFormat format)
{
    plist_t dictionary = plist_new_dict();
    for (auto& [key, value] : strings)
        plist_dict_set_item(dictionary, key.c_str(), plist_new_string(value.c_str()));
    char* bytes = nullptr;
    std::uint32_t length = 0;
    if (format == PlistFormat::xml)
        plist_to_xml(dictionary, &bytes, &length);
    else
        plist_to_bin(dictionary, &bytes, &length);
    std::string result(bytes, length);
    std::free(bytes);
    plist_free(dictionary);
    return result;
}

inline std::string snippetJSON(const std::string& fields)
{
    return R"({"alfredsnippet": {)" + fields + "}}";
}

inline void writeFile(const std::filesystem::path& path, const std::string& contents)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
}

} // namespace zeph::SnippetPack
