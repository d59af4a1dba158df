#include "Storage/JSONFileStore.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeph {

namespace {

std::string systemError(int number)
{
    return std::strerror(number);
}

bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// Some file systems cannot sync a folder; that is no reason to call a finished write a failure.
bool syncFolder(const std::filesystem::path& folder)
{
    int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    bool synced = fsync(descriptor) == 0 || errno == EINVAL;
    close(descriptor);
    return synced;
}

} // namespace

std::optional<Error> AtomicFileWriter::replaceFile(
    const std::filesystem::path& path, std::string_view bytes)
{
    auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
    auto failure = [&](const char* what) {
        return Error { "Could not write " + path.string() + " (" + what + "): " + systemError(errno)
            + "." };
    };
    int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0)
        return failure("creating a temporary file");
    if (!writeAll(descriptor, bytes) || fsync(descriptor) != 0) {
        auto error = failure("writing");
        close(descriptor);
        unlink(temporary.c_str());
        return error;
    }
    if (close(descriptor) != 0) {
        auto error = failure("writing");
        unlink(temporary.c_str());
        return error;
    }
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        auto error = failure("replacing the file");
        unlink(temporary.c_str());
        return error;
    }
    if (!syncFolder(folder))
        return failure("syncing the folder");
    return std::nullopt;
}

FileWriting& atomicFileWriter()
{
    static AtomicFileWriter writer;
    return writer;
}

DocumentFile::DocumentFile(
    std::string fileName, std::optional<std::filesystem::path> directory, FileWriting& writer)
    : m_fileName(std::move(fileName))
    , m_path((directory ? *directory : Paths::supportDirectory()) / m_fileName)
    , m_writer(writer)
{
}

std::filesystem::path DocumentFile::sidecarPath() const
{
    auto sidecar = m_path;
    sidecar += Paths::corruptExtension;
    return sidecar;
}

DocumentFile::Contents DocumentFile::read() const
{
    auto isRegularFile = [&] {
        struct stat status { };
        return stat(m_path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    };
    // Not blocking, so that a named pipe in the file's place cannot hang the caller.
    int descriptor = open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return { .found = isRegularFile() ? Found::unreadable : Found::nothing };
    struct stat status { };
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return { .found = Found::nothing };
    }
    Contents contents { .found = Found::bytes };
    contents.bytes.reserve(static_cast<std::size_t>(status.st_size));
    char buffer[65536];
    while (true) {
        auto count = ::read(descriptor, buffer, sizeof buffer);
        if (count == 0)
            break;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            close(descriptor);
            return { .found = Found::unreadable };
        }
        contents.bytes.append(buffer, static_cast<std::size_t>(count));
    }
    close(descriptor);
    return contents;
}

bool DocumentFile::setAside() const
{
    // One rename both replaces an older sidecar and frees the document's path.
    return rename(m_path.c_str(), sidecarPath().c_str()) == 0;
}

std::optional<Error> DocumentFile::write(std::string_view bytes) const
{
    std::error_code error;
    std::filesystem::create_directories(m_path.parent_path(), error);
    if (error)
        return Error { "Could not create the folder " + m_path.parent_path().string() + ": "
            + error.message() + "." };
    return m_writer.replaceFile(m_path, bytes);
}

void DocumentFile::remove() const
{
    unlink(m_path.c_str());
}

} // namespace zeph
