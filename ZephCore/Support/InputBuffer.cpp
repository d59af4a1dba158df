#include "Support/InputBuffer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zeph {

Result<InputBuffer> InputBuffer::read(int descriptor, const std::string& name)
{
    InputBuffer buffer;
    struct stat status { };
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        // Only what is left from the current position belongs to us, as with read().
        auto position = lseek(descriptor, 0, SEEK_CUR);
        if (position == 0) {
            auto size = static_cast<std::size_t>(status.st_size);
            void* mapping = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0);
            if (mapping != MAP_FAILED) {
                buffer.m_mapping = mapping;
                buffer.m_mappedSize = size;
                return buffer;
            }
        }
    }
    std::size_t size = 0;
    for (;;) {
        if (buffer.m_owned.size() == size)
            buffer.m_owned.resize(std::max<std::size_t>(2 * size, 65536));
        auto count = ::read(descriptor, buffer.m_owned.data() + size, buffer.m_owned.size() - size);
        if (count == 0)
            break;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return Error { "Could not read " + name + ": " + std::strerror(errno) + "." };
        }
        size += static_cast<std::size_t>(count);
    }
    buffer.m_owned.resize(size);
    return buffer;
}

Result<InputBuffer> InputBuffer::readFile(const std::string& path)
{
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return Error { "Could not open " + path + ": " + std::strerror(errno) + "." };
    auto buffer = read(descriptor, path);
    ::close(descriptor);
    return buffer;
}

InputBuffer::InputBuffer(InputBuffer&& other) noexcept
    : m_owned(std::move(other.m_owned))
    , m_mapping(std::exchange(other.m_mapping, nullptr))
    , m_mappedSize(std::exchange(other.m_mappedSize, 0))
{
}

InputBuffer& InputBuffer::operator=(InputBuffer&& other) noexcept
{
    if (this != &other) {
        if (m_mapping)
            munmap(m_mapping, m_mappedSize);
        m_owned = std::move(other.m_owned);
        m_mapping = std::exchange(other.m_mapping, nullptr);
        m_mappedSize = std::exchange(other.m_mappedSize, 0);
    }
    return *this;
}

InputBuffer::~InputBuffer()
{
    if (m_mapping)
        munmap(m_mapping, m_mappedSize);
}

} // namespace zeph
