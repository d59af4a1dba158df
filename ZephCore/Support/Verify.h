#pragma once

namespace zeph {

// Checks a program invariant. A broken one is a bug, not bad input: it logs one line and aborts.
void verify(bool condition, const char* file = __builtin_FILE(), int line = __builtin_LINE());

} // namespace zeph
