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
            void* mapping
                = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0);
            if (mapping != MAP_FAILED) {
                buffer.m_mapping = mapping;
                buffer.m_mappedSize = size;
                buffer.m_mappingLength = size;
                // Consumed as a read would have, for whoever shares the descriptor next; a
                // failure leaves only the offset where it was.
                lseek(descriptor, static_cast<off_t>(size), SEEK_SET);
                return buffer;
            }
        }
    }
    // A pipe: read into fresh memory that grows by moving its pages, never by copying or zeroing
    // bytes, and whose untouched part costs nothing.
    auto failure
        = [&] { return Error { "Could not read " + name + ": " + std::strerror(errno) + "." }; };
    std::size_t capacity = std::size_t { 1 } << 20;
    void* memory
        = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return failure();
    buffer.m_mapping = memory;
    buffer.m_mappingLength = capacity;
    for (;;) {
        if (buffer.m_mappedSize == capacity) {
            memory = mremap(buffer.m_mapping, capacity, 2 * capacity, MREMAP_MAYMOVE);
            if (memory == MAP_FAILED)
                return failure();
            buffer.m_mapping = memory;
            capacity *= 2;
            buffer.m_mappingLength = capacity;
        }
        auto count = ::read(descriptor, static_cast<char*>(buffer.m_mapping) + buffer.m_mappedSize,
            capacity - buffer.m_mappedSize);
        if (count == 0)
            break;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return failure();
        }
        buffer.m_mappedSize += static_cast<std::size_t>(count);
    }
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
    , m_mappingLength(std::exchange(other.m_mappingLength, 0))
{
}

InputBuffer& InputBuffer::operator=(InputBuffer&& other) noexcept
{
    if (this != &other) {
        if (m_mapping)
            munmap(m_mapping, m_mappingLength);
        m_owned = std::move(other.m_owned);
        m_mapping = std::exchange(other.m_mapping, nullptr);
        m_mappedSize = std::exchange(other.m_mappedSize, 0);
        m_mappingLength = std::exchange(other.m_mappingLength, 0);
    }
    return *this;
}

InputBuffer::~InputBuffer()
{
    if (m_mapping)
        munmap(m_mapping, m_mappingLength);
}

} // namespace zeph
