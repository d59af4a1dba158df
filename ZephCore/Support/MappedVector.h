#pragma once

#include "Support/Verify.h"

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

namespace zeph {

// A vector of plain values over one anonymous mapping whose size is fixed up front, so that it
// never moves or copies while it grows, and only the pages it touches cost memory. The mapping
// asks for huge pages: on a virtual machine each small-page fault costs microseconds, and a large
// index would take thousands of them.
template <typename T> class MappedVector {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    MappedVector() = default;
    explicit MappedVector(std::size_t capacity);
    MappedVector(MappedVector&& other) noexcept { swap(other); }
    MappedVector& operator=(MappedVector&& other) noexcept
    {
        MappedVector moved(std::move(other));
        swap(moved);
        return *this;
    }
    MappedVector(const MappedVector&) = delete;
    MappedVector& operator=(const MappedVector&) = delete;
    ~MappedVector();

    std::size_t size() const { return m_size; }
    std::size_t capacity() const { return m_capacity; }
    bool empty() const { return m_size == 0; }
    T* data() { return m_data; }
    const T* data() const { return m_data; }
    T* begin() { return m_data; }
    T* end() { return m_data + m_size; }
    const T* begin() const { return m_data; }
    const T* end() const { return m_data + m_size; }
    T& operator[](std::size_t index) { return m_data[index]; }
    const T& operator[](std::size_t index) const { return m_data[index]; }

    void push_back(const T& value)
    {
        verify(m_size < m_capacity);
        m_data[m_size++] = value;
    }
    // Grows with zero values (fresh pages are zero) or shrinks; never beyond the capacity.
    void resize(std::size_t size);
    void append(const T* values, std::size_t count)
    {
        verify(count <= m_capacity - m_size);
        if (count)
            std::memcpy(m_data + m_size, values, count * sizeof(T));
        m_size += count;
    }

private:
    void swap(MappedVector& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
    }

    T* m_data = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

namespace MappedMemory {

// Reserves address space for `bytes` (zero-filled on first touch), or aborts when even that fails.
void* reserve(std::size_t bytes);
void release(void* address, std::size_t bytes);

} // namespace MappedMemory

template <typename T>
MappedVector<T>::MappedVector(std::size_t capacity)
    : m_data(static_cast<T*>(MappedMemory::reserve(capacity * sizeof(T))))
    , m_capacity(capacity)
{
}

template <typename T> MappedVector<T>::~MappedVector()
{
    if (m_data)
        MappedMemory::release(m_data, m_capacity * sizeof(T));
}

template <typename T> void MappedVector<T>::resize(std::size_t size)
{
    verify(size <= m_capacity);
    // Values dropped here must read as zero when the vector grows again.
    for (auto index = size; index < m_size; ++index)
        m_data[index] = T {};
    m_size = size;
}

} // namespace zeph
