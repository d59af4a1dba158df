// Arbitrary bytes as the desktop's list of recently used files: a list or nothing, never worse.
#include "Files/RecentlyUsed.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto used
        = zeph::parseRecentlyUsed(std::string_view(reinterpret_cast<const char*>(data), size));
    for (auto& [path, moment] : used)
        (void)path.size();
    return 0;
}
