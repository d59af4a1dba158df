#pragma once

#include "Support/Text.h"

#include <cstdint>

// What ICU says of each scalar of the Basic and the Supplementary Multilingual Plane (emoji
// included), worked out when the project is built. A run that meets a few dozen scalars beyond
// Latin would otherwise spend longer starting ICU and reading its data than searching.
namespace zeph {

// ICU's properties of a scalar as the flag bits of Text.cpp: what the table holds, and the answer
// beyond it.
std::uint8_t computeScalarFlags(char32_t scalar);
// The fold of a cluster through ICU: the code of the first character of its folded text, or of
// the cluster itself when folding leaves nothing.
Character computeFoldedCharacter(std::string_view cluster);

namespace ScalarTable {

inline constexpr char32_t size = 0x20000;

// computeScalarFlags(scalar), for a scalar below `size`.
std::uint8_t flags(char32_t scalar);
// computeFoldedCharacter of the scalar alone, for a scalar below `size`; 0 where that is an
// interned code, which only a run can give out, for the surrogates, and for NUL, whose fold is 0:
// the caller works those out itself.
Character fold(char32_t scalar);

} // namespace ScalarTable

} // namespace zeph
