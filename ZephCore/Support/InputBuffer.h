#pragma once

#include "Support/Result.h"

#include <string>
#include <string_view>

namespace zeph {

// Bytes read in one go: a regular file is mapped, not copied, because on a virtual machine the
// page faults of copying a large input into fresh memory cost more than the whole search; a pipe
// is read into memory of our own that grows without copies.
class InputBuffer {
public:
    InputBuffer() = default;
    explicit InputBuffer(std::string text)
        : m_owned(std::move(text))
    {
    }
    // Reads all of an open descriptor, which stays open.
    static Result<InputBuffer> read(int descriptor, const std::string& name);
    static Result<InputBuffer> readFile(const std::string& path);

    InputBuffer(InputBuffer&& other) noexcept;
    InputBuffer& operator=(InputBuffer&& other) noexcept;
    InputBuffer(const InputBuffer&) = delete;
    InputBuffer& operator=(const InputBuffer&) = delete;
    ~InputBuffer();

    std::string_view text() const
    {
        return m_mapping ? std::string_view(static_cast<const char*>(m_mapping), m_mappedSize)
                         : m_owned;
    }

private:
    std::string m_owned;
    void* m_mapping = nullptr;
    std::size_t m_mappedSize = 0; // The bytes of the text.
    std::size_t m_mappingLength = 0; // The bytes mapped, at least as many.
};

} // namespace zeph
