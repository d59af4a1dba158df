#include "Search/LineScan.h"

#include "Search/MatchText.h"

#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace zeph::LineScan {

namespace {

// The class bits of eight ASCII bytes, each loaded on its own: cheaper than shifting each out of a
// word that is already in a register.
std::uint64_t classBitsAt(const unsigned char* bytes)
{
    auto bits = [&](unsigned index) { return asciiClassBits[bytes[index]]; };
    return ((bits(0) | bits(1)) | (bits(2) | bits(3)))
        | ((bits(4) | bits(5)) | (bits(6) | bits(7)));
}

// A high bit in each byte of `word` that is a line feed or not ASCII; the lowest is exact, those
// above a line feed may not be.
std::uint64_t stopBytes(std::uint64_t word)
{
    constexpr std::uint64_t ones = 0x0101'0101'0101'0101;
    auto lineFeeds = word ^ (ones * '\n');
    return ((lineFeeds - ones) & ~lineFeeds & Ascii::highBits) | (word & Ascii::highBits);
}

} // namespace

std::size_t portable(
    const unsigned char* bytes, std::size_t offset, std::size_t end, std::uint64_t& mask)
{
    while (end - offset >= 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes + offset, 8);
        if (auto stops = stopBytes(word)) {
            // The bytes from the stop on read as NUL, which has no class.
            auto count = static_cast<unsigned>(std::countr_zero(stops)) / 8;
            mask |= asciiClassBitsOfWord(word & ((std::uint64_t { 1 } << (8 * count)) - 1));
            return offset + count;
        }
        mask |= classBitsAt(bytes + offset);
        offset += 8;
    }
    for (; offset < end && bytes[offset] != '\n' && bytes[offset] < 0x80; ++offset)
        mask |= asciiClassBits[bytes[offset]];
    return offset;
}

#if defined(__x86_64__)

namespace {

// Each of eight classes (a byte each, 0xFF for none) as a bit of the lanes of `low` (classes
// below 32) or of `high` (the others): a shift by 32 or more leaves no bit.
[[gnu::target("avx2"), gnu::always_inline]] inline void addClasses(
    __m128i classes, __m256i& low, __m256i& high)
{
    auto lanes = _mm256_cvtepu8_epi32(classes);
    auto one = _mm256_set1_epi32(1);
    low = _mm256_or_si256(low, _mm256_sllv_epi32(one, lanes));
    high = _mm256_or_si256(
        high, _mm256_sllv_epi32(one, _mm256_sub_epi32(lanes, _mm256_set1_epi32(32))));
}

// The lanes of `low` as the low half of a mask, those of `high` as its high half.
[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t maskOf(__m256i low, __m256i high)
{
    auto lowHalf = _mm_or_si128(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
    auto highHalf = _mm_or_si128(_mm256_castsi256_si128(high), _mm256_extracti128_si256(high, 1));
    auto pairs = _mm_or_si128(
        _mm_unpacklo_epi32(lowHalf, highHalf), _mm_unpackhi_epi32(lowHalf, highHalf));
    pairs = _mm_or_si128(pairs, _mm_unpackhi_epi64(pairs, pairs));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(pairs));
}

} // namespace

[[gnu::target("avx2")]] std::size_t wide(
    const unsigned char* bytes, std::size_t offset, std::size_t end, std::uint64_t& mask)
{
    const auto indices = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16,
        17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    auto low = _mm256_setzero_si256();
    auto high = _mm256_setzero_si256();
    bool stopped = false;
    while (end - offset >= 32 && !stopped) {
        auto block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + offset));
        // A byte beyond ASCII has its high bit set already.
        auto stops = static_cast<std::uint32_t>(_mm256_movemask_epi8(
            _mm256_or_si256(_mm256_cmpeq_epi8(block, _mm256_set1_epi8('\n')), block)));
        auto classless = _mm256_cmpeq_epi8(block, _mm256_setzero_si256());
        unsigned count = 32;
        if (stops) {
            count = static_cast<unsigned>(std::countr_zero(stops));
            classless = _mm256_or_si256(classless,
                _mm256_cmpgt_epi8(indices, _mm256_set1_epi8(static_cast<char>(count - 1))));
            stopped = true;
        }
        // characterClassBit's index, (byte & 0x1F) | (byte & 0x40) >> 1, or 0xFF for none.
        auto classes = _mm256_or_si256(_mm256_and_si256(block, _mm256_set1_epi8(0x1F)),
            _mm256_and_si256(_mm256_srli_epi16(block, 1), _mm256_set1_epi8(0x20)));
        classes = _mm256_or_si256(classes, classless);
        auto first = _mm256_castsi256_si128(classes);
        auto second = _mm256_extracti128_si256(classes, 1);
        addClasses(first, low, high);
        addClasses(_mm_srli_si128(first, 8), low, high);
        addClasses(second, low, high);
        addClasses(_mm_srli_si128(second, 8), low, high);
        offset += count;
    }
    mask |= maskOf(low, high);
    return stopped ? offset : portable(bytes, offset, end, mask);
}

#endif

Scanner best()
{
#if defined(__x86_64__)
    static const Scanner scanner = __builtin_cpu_supports("avx2") ? wide : portable;
    return scanner;
#else
    return portable;
#endif
}

} // namespace zeph::LineScan
