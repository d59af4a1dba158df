#include "Support/ScalarTable.h"

namespace zeph::ScalarTable {

namespace {

// Written by MakeScalarTable: for each table, the block of each run of `blockSize` scalars and
// the distinct blocks, most of which many runs share.
#include "ScalarTable.inc"

} // namespace

std::uint8_t flags(char32_t scalar)
{
    return flagBlocks[flagBlockOf[scalar / blockSize]][scalar % blockSize];
}

Character fold(char32_t scalar)
{
    // Kept as the distance from the scalar, so that the many blocks that fold to themselves or
    // shift a whole alphabet are one block each.
    auto distance = foldBlocks[foldBlockOf[scalar / blockSize]][scalar % blockSize];
    return distance == noFold
        ? 0
        : static_cast<Character>(static_cast<std::int32_t>(scalar) + distance);
}

} // namespace zeph::ScalarTable
