#pragma once

#include <cstddef>
#include <cstdint>

namespace zeph::LineScan {

// A scanner reads ASCII bytes from `offset` on and stops at a line feed, at a byte beyond ASCII
// or at `end`, whichever comes first; it returns where it stopped and adds the class bits of the
// bytes it passed (characterClassBit) to `mask`. Loading an input is mostly this.
using Scanner = std::size_t (*)(
    const unsigned char* bytes, std::size_t offset, std::size_t end, std::uint64_t& mask);

// Eight bytes at a time, on any processor.
std::size_t portable(
    const unsigned char* bytes, std::size_t offset, std::size_t end, std::uint64_t& mask);
#if defined(__x86_64__)
// Thirty-two bytes at a time, with AVX2; only where the processor has it.
std::size_t wide(
    const unsigned char* bytes, std::size_t offset, std::size_t end, std::uint64_t& mask);
#endif
// The fastest scanner this processor runs.
Scanner best();

} // namespace zeph::LineScan
