#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace zeph {

// A table whose entries are computed on first use, safe on any thread: threads that race on an
// entry compute the same value, and a zero entry means "not computed yet", so `compute` must
// never yield zero.
//
// Entries live in blocks that are laid out one after another in the order in which they are
// first used, so that a text in a few scripts touches a few pages of memory, not one for each
// script's range: on a virtual machine a page's first touch costs microseconds.
template <typename Value, std::size_t Size, std::size_t BlockSize = 256> class LazyTable {
    static_assert(Size % BlockSize == 0);
    static constexpr std::size_t blockCount = Size / BlockSize;
    using Block = std::array<std::atomic<Value>, BlockSize>;

public:
    static constexpr std::size_t size() { return Size; }

    template <typename Compute> Value get(std::size_t index, Compute&& compute)
    {
        auto* block = m_blocks[index / BlockSize].load(std::memory_order_acquire);
        if (!block)
            block = newBlock(index / BlockSize);
        if (!block)
            return compute();
        auto& entry = (*block)[index % BlockSize];
        auto value = entry.load(std::memory_order_relaxed);
        if (!value) {
            value = compute();
            entry.store(value, std::memory_order_relaxed);
        }
        return value;
    }

private:
    Block* newBlock(std::size_t slot)
    {
        // Racing threads may each take a block; one is kept, the others stay unused.
        auto taken = m_used.fetch_add(1, std::memory_order_relaxed);
        if (taken >= m_arena.size())
            return m_blocks[slot].load(std::memory_order_acquire);
        auto* block = &m_arena[taken];
        Block* expected = nullptr;
        if (m_blocks[slot].compare_exchange_strong(expected, block, std::memory_order_acq_rel))
            return block;
        return expected;
    }

    std::array<std::atomic<Block*>, blockCount> m_blocks {};
    // Room for every block and for a few lost races; past it, entries are computed every time.
    std::array<Block, blockCount + 16> m_arena {};
    std::atomic<std::size_t> m_used = 0;
};

} // namespace zeph
