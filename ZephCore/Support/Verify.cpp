#include "Support/Verify.h"

#include <cstdio>
#include <cstdlib>

namespace zeph {

void invariantBroken(const char* file, int line)
{
    std::fprintf(stderr, "Zeph Launcher: invariant broken at %s:%d\n", file, line);
    std::abort();
}

} // namespace zeph
