#include "Search/LineScan.h"

#include "Search/MatchText.h"

#include <bit>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

struct Scan {
    std::size_t stop = 0;
    std::uint64_t mask = 0;
    bool operator==(const Scan&) const = default;
};

// What every scanner must find, byte by byte.
Scan expectedScan(const std::string& text, std::size_t offset, std::size_t end)
{
    Scan scan { offset, 0 };
    for (; scan.stop < end; ++scan.stop) {
        auto byte = static_cast<unsigned char>(text[scan.stop]);
        if (byte == '\n' || byte >= 0x80)
            break;
        scan.mask |= characterClassBit(Ascii::fold(byte));
    }
    return scan;
}

std::vector<std::pair<const char*, LineScan::Scanner>> scanners()
{
    std::vector<std::pair<const char*, LineScan::Scanner>> all { { "portable",
        LineScan::portable } };
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        all.emplace_back("wide", LineScan::wide);
#endif
    return all;
}

// Every start and end of a text, against the byte-by-byte scan; the mask starts with a bit set,
// which must stay.
void expectScansOf(const std::string& text)
{
    auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (auto [name, scanner] : scanners()) {
        for (std::size_t end = 0; end <= text.size(); ++end) {
            for (std::size_t offset = 0; offset <= end; ++offset) {
                auto expected = expectedScan(text, offset, end);
                expected.mask |= 1;
                Scan scan { 0, 1 };
                scan.stop = scanner(bytes, offset, end, scan.mask);
                ASSERT_EQ(scan, expected)
                    << name << " on \"" << text << "\" from " << offset << " to " << end;
            }
        }
    }
}

} // namespace

TEST(LineScan, ClassesIgnoreCaseAndKeepLettersDigitsAndPunctuationApart)
{
    EXPECT_EQ(characterClassBit('a'), characterClassBit('A'));
    EXPECT_EQ(characterClassBit('z'), characterClassBit('Z'));
    EXPECT_EQ(characterClassBit(0), 0u);
    std::string distinct = "abcdefghijklmnopqrstuvwxyz0123456789 /.-_:~@";
    std::uint64_t seen = 0;
    for (auto character : distinct) {
        auto bit = characterClassBit(static_cast<unsigned char>(character));
        EXPECT_EQ(std::popcount(bit), 1) << character;
        EXPECT_FALSE(seen & bit) << character;
        seen |= bit;
    }
    EXPECT_EQ(std::popcount(characterClassBit(U'ω')), 1);
    EXPECT_EQ(characterClassBit(U'ω'), characterClassBit(U'本'));
}

TEST(LineScan, ScannersStopWhereTheLineOrItsAsciiEnds)
{
    for (std::string text : {
             std::string(
                 "usr/share/doc/libpython3.11/copyright and a long tail past 32 bytes\nnext"),
             std::string("short\nlines\n\nof\nall\nlengths\n"),
             std::string("CR LF line endings keep their CR\r\nin the mask, up to the feed\r\n"),
             std::string("NUL\0bytes have no class, and none in a long line either\0!", 57),
             std::string(
                 "a Latin line: caf\xC3\xA9 cr\xC3\xA8me, thirty-two bytes and more before it"),
             std::string("\xFF\xFE invalid bytes first, then ASCII"),
             std::string(70, 'x') + "\n" + std::string(40, '~') + "\x80",
         })
        expectScansOf(text);
}

TEST(LineScan, ScannersAgreeOnRandomBytes)
{
    std::mt19937 random(7);
    // Mostly printable ASCII, with line feeds, NUL, control and high bytes now and then.
    auto byte = [&]() -> char {
        auto roll = random() % 100;
        if (roll < 4)
            return '\n';
        if (roll < 6)
            return static_cast<char>(random() % 32);
        if (roll < 8)
            return static_cast<char>(0x80 + random() % 128);
        return static_cast<char>(32 + random() % 96);
    };
    for (int round = 0; round < 40; ++round) {
        std::string text(1 + random() % 100, ' ');
        for (auto& character : text)
            character = byte();
        expectScansOf(text);
    }
}
