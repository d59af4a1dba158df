#pragma once

namespace zeph {

[[noreturn]] void invariantBroken(const char* file, int line);

// Checks a program invariant. A broken one is a bug, not bad input: it logs one line and aborts.
// Inline, so that a check in a hot loop costs one predicted branch.
inline void verify(bool condition, const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    if (!condition) [[unlikely]]
        invariantBroken(file, line);
}

} // namespace zeph
