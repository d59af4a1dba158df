#include "Support/FileLock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace zeph {

Result<FileLock> FileLock::acquire(const std::filesystem::path& path)
{
    int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return Error { "Could not open the lock file " + path.string() + ": " + std::strerror(errno)
            + "." };
    int status = 0;
    do
        status = flock(descriptor, LOCK_EX);
    while (status != 0 && errno == EINTR);
    if (status != 0) {
        Error error { "Could not lock " + path.string() + ": " + std::strerror(errno) + "." };
        close(descriptor);
        return error;
    }
    return FileLock(descriptor);
}

FileLock::FileLock(FileLock&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{
}

FileLock& FileLock::operator=(FileLock&& other) noexcept
{
    if (this != &other) {
        if (m_descriptor >= 0)
            close(m_descriptor);
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

FileLock::~FileLock()
{
    // Closing the last descriptor releases the lock.
    if (m_descriptor >= 0)
        close(m_descriptor);
}

} // namespace zeph
