#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace zeph {

// A table whose entries are computed on first use, safe on any thread: threads that race on an
// entry compute the same value, and a zero entry means "not computed yet", so `compute` must
// never yield zero.
template<typename Value, std::size_t Size>
class LazyTable {
public:
    static constexpr std::size_t size() { return Size; }

    template<typename Compute>
    Value get(std::size_t index, Compute&& compute)
    {
        auto& entry = m_entries[index];
        auto value = entry.load(std::memory_order_relaxed);
        if (!value) {
            value = compute();
            entry.store(value, std::memory_order_relaxed);
        }
        return value;
    }

private:
    std::array<std::atomic<Value>, Size> m_entries {};
};

} // namespace zeph
