// Arbitrary bytes as a desktop entry: reading never fails loudly, and what it reads is UTF-8.
#include "Search/DesktopEntry.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    auto entry = zeph::DesktopEntry::read(text);
    if (!entry)
        return 0;
    zeph::verify(entry->hidden || !entry->name.empty());
    for (auto* value : { &entry->name, &entry->genericName, &entry->icon, &entry->tryExec })
        zeph::verify(zeph::isValidUTF8(*value));
    for (auto& keyword : entry->keywords)
        zeph::verify(zeph::isValidUTF8(keyword) && !keyword.empty());
    return 0;
}
