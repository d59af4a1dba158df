#include "Support/Verify.h"

#include <cstdio>
#include <cstdlib>

namespace zeph {

void verify(bool condition, const char* file, int line)
{
    if (condition) [[likely]]
        return;
    std::fprintf(stderr, "Zeph Launcher: invariant broken at %s:%d\n", file, line);
    std::abort();
}

} // namespace zeph
