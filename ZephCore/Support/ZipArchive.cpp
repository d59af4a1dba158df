#include "Support/ZipArchive.h"

#include <algorithm>
#include <memory>
#include <string>

#include <archive.h>
#include <archive_entry.h>

namespace zeph::ZipArchive {

namespace {

using Reader = std::unique_ptr<archive, decltype(&archive_read_free)>;
using Writer = std::unique_ptr<archive, decltype(&archive_write_free)>;

Error failure(const std::string& what, archive* handle)
{
    auto* reason = archive_error_string(handle);
    return Error { what + (reason ? std::string(": ") + reason : std::string()) + "." };
}

Error outside(std::string_view kind, std::string_view name)
{
    return Error { "The archive holds " + std::string(kind)
        + " outside the folder it unpacks into: \"" + std::string(name) + "\"." };
}

// True for a path, relative to the unpacking folder, that stays inside it when read as written.
bool staysInside(const std::filesystem::path& path)
{
    if (path.empty() || path.has_root_path())
        return false;
    auto normal = path.lexically_normal();
    return normal.empty() || *normal.begin() != "..";
}

// Links are checked once everything is unpacked, for a link made early may be redirected by one
// made later ("b -> .", then "a -> b/..").
std::optional<Error> checkLinks(const std::filesystem::path& root)
{
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator entries(root, error), end;
         !error && entries != end; entries.increment(error)) {
        if (!entries->is_symlink(error))
            continue;
        auto target = std::filesystem::weakly_canonical(entries->path(), error);
        if (error || !staysInside(target.lexically_relative(root)))
            return outside("a link that points", entries->path().lexically_relative(root).string());
    }
    if (error)
        return Error { "The unpacked archive could not be checked: " + error.message() + "." };
    return std::nullopt;
}

std::string sizeText(std::uint64_t bytes)
{
    constexpr std::uint64_t megabyte = 1024 * 1024;
    if (bytes % megabyte == 0 && bytes > 0)
        return std::to_string(bytes / megabyte) + " MB";
    return std::to_string(bytes) + " bytes";
}

} // namespace

std::optional<Error> extract(const std::filesystem::path& archivePath,
    const std::filesystem::path& folder, const Limits& limits)
{
    std::error_code error;
    // Canonical, so that no link above the folder counts as one inside the archive.
    auto root = std::filesystem::canonical(folder, error);
    if (error)
        return Error { "The folder " + folder.string() + " could not be used: " + error.message()
            + "." };

    Reader reader(archive_read_new(), archive_read_free);
    Writer writer(archive_write_disk_new(), archive_write_free);
    if (!reader || !writer)
        return Error { "The archive could not be read: out of memory." };
    archive_read_support_format_zip(reader.get());
    // Our own checks come first and say more; these are the second line.
    archive_write_disk_set_options(writer.get(),
        ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_UNLINK);
    if (archive_read_open_filename(reader.get(), archivePath.c_str(), 64 * 1024) != ARCHIVE_OK)
        return failure("The file is not a readable zip archive", reader.get());

    std::size_t entryCount = 0;
    std::uint64_t byteCount = 0;
    auto tooLarge = [&] {
        return Error { "The archive unpacks to more than " + sizeText(limits.maximumBytes)
            + ", which is more than is allowed." };
    };
    for (;;) {
        archive_entry* entry = nullptr;
        auto status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status < ARCHIVE_WARN)
            return failure("The zip archive is damaged", reader.get());
        if (++entryCount > limits.maximumEntries)
            return Error { "The archive holds more than " + std::to_string(limits.maximumEntries)
                + " entries, which is more than is allowed." };
        auto* pathname = archive_entry_pathname(entry);
        if (!pathname)
            return Error { "The archive holds an entry whose name cannot be read." };
        // A copy: the entry's own text goes when the path is set below.
        std::string name(pathname);
        // Any "..", even one that climbs back in, is refused, as libarchive would.
        std::filesystem::path path(name);
        if (!staysInside(path) || std::find(path.begin(), path.end(), "..") != path.end())
            return outside("an entry", name);
        auto type = archive_entry_filetype(entry);
        if (archive_entry_hardlink(entry)
            || (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK))
            return Error {
                "The archive holds an entry that is neither a file, a folder nor a link: \"" + name
                + "\"."
            };
        if (type == AE_IFLNK) {
            auto* target = archive_entry_symlink(entry);
            if (!target || !staysInside(path.parent_path() / target))
                return outside("a link that points", name);
        }
        if (archive_entry_size_is_set(entry) && archive_entry_size(entry) > 0
            && static_cast<std::uint64_t>(archive_entry_size(entry))
                > limits.maximumBytes - byteCount)
            return tooLarge();

        archive_entry_set_perm(entry, type == AE_IFDIR ? 0755 : 0644);
        archive_entry_set_pathname(entry, (root / path).c_str());
        if (archive_write_header(writer.get(), entry) < ARCHIVE_WARN)
            return failure("The entry \"" + name + "\" could not be unpacked", writer.get());
        if (type == AE_IFREG) {
            for (;;) {
                const void* block = nullptr;
                std::size_t size = 0;
                la_int64_t offset = 0;
                status = archive_read_data_block(reader.get(), &block, &size, &offset);
                if (status == ARCHIVE_EOF)
                    break;
                // A checksum that does not match is only a warning to libarchive.
                if (status != ARCHIVE_OK)
                    return failure("The zip archive is damaged", reader.get());
                // Declared sizes can lie; what comes out is what counts.
                if (size > limits.maximumBytes - byteCount)
                    return tooLarge();
                byteCount += size;
                if (archive_write_data_block(writer.get(), block, size, offset) < ARCHIVE_WARN)
                    return failure(
                        "The entry \"" + name + "\" could not be unpacked", writer.get());
            }
        }
        if (archive_write_finish_entry(writer.get()) < ARCHIVE_WARN)
            return failure("The entry \"" + name + "\" could not be unpacked", writer.get());
    }
    if (archive_write_close(writer.get()) < ARCHIVE_WARN)
        return failure("The archive could not be unpacked", writer.get());
    return checkLinks(root);
}

} // namespace zeph::ZipArchive
