// Writes ScalarTable.inc, the tables of ScalarTable.cpp, from ICU. It links Text.cpp, whose
// look-ups in the table it is making go straight to ICU here.
#include "Support/ScalarTable.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <unicode/uvernum.h>

namespace zeph::ScalarTable {

std::uint8_t flags(char32_t scalar)
{
    return computeScalarFlags(scalar);
}

Character fold(char32_t)
{
    return 0;
}

} // namespace zeph::ScalarTable

namespace {

constexpr std::size_t blockSize = 64;

// The runs of `blockSize` entries of `values`, each given the number of the first equal run.
template <typename Value>
void writeTable(
    std::FILE* file, const char* name, const char* type, const std::vector<Value>& values)
{
    std::map<std::vector<Value>, std::size_t> numbers;
    std::vector<const std::vector<Value>*> blocks;
    std::vector<std::size_t> blockOf;
    for (std::size_t start = 0; start < values.size(); start += blockSize) {
        std::vector<Value> block(values.begin() + static_cast<std::ptrdiff_t>(start),
            values.begin() + static_cast<std::ptrdiff_t>(start + blockSize));
        auto [entry, isNew] = numbers.try_emplace(std::move(block), blocks.size());
        if (isNew)
            blocks.push_back(&entry->first);
        blockOf.push_back(entry->second);
    }
    std::fprintf(file, "constexpr std::uint16_t %sBlockOf[] = {", name);
    for (std::size_t index = 0; index < blockOf.size(); ++index)
        std::fprintf(file, "%s%zu,", index % 16 ? " " : "\n    ", blockOf[index]);
    std::fprintf(file, "\n};\nconstexpr %s %sBlocks[][blockSize] = {\n", type, name);
    for (auto* block : blocks) {
        std::fprintf(file, "    {");
        for (std::size_t index = 0; index < blockSize; ++index)
            std::fprintf(file, "%s%lld,", index % 16 ? " " : "\n        ",
                static_cast<long long>((*block)[index]));
        std::fprintf(file, "\n    },\n");
    }
    std::fprintf(file, "};\n");
}

} // namespace

int main(int argumentCount, char** arguments)
{
    using namespace zeph;
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: MakeScalarTable OUTPUT\n");
        return 2;
    }
    constexpr std::int32_t noFold = INT32_MIN;
    std::vector<std::uint8_t> flags(ScalarTable::size);
    std::vector<std::int32_t> folds(ScalarTable::size, noFold);
    for (char32_t scalar = 0; scalar < ScalarTable::size; ++scalar) {
        flags[scalar] = computeScalarFlags(scalar);
        if (scalar >= 0xD800 && scalar <= 0xDFFF)
            continue; // Surrogates are no scalars: UTF-8 cannot hold them.
        std::string cluster;
        appendUTF8(cluster, scalar);
        auto folded = computeFoldedCharacter(cluster);
        if (folded < firstInternedCharacter)
            folds[scalar] = static_cast<std::int32_t>(folded) - static_cast<std::int32_t>(scalar);
    }
    auto* file = std::fopen(arguments[1], "w");
    if (!file) {
        std::perror(arguments[1]);
        return 1;
    }
    std::fprintf(file, "// Made by MakeScalarTable from ICU %s.\n", U_ICU_VERSION);
    std::fprintf(file, "constexpr std::size_t blockSize = %zu;\n", blockSize);
    std::fprintf(file, "constexpr std::int32_t noFold = INT32_MIN;\n");
    writeTable(file, "flag", "std::uint8_t", flags);
    writeTable(file, "fold", "std::int32_t", folds);
    return std::fclose(file) == 0 ? 0 : 1;
}
