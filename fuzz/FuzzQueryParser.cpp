// Arbitrary typed text: parsing never fails, and the keyword and argument come from the term.
#include "Search/QueryParser.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    auto parsed = zeph::QueryParser::parse(text);
    zeph::verify(zeph::isValidUTF8(parsed.term));
    if (parsed.argument)
        zeph::verify(parsed.term.ends_with(*parsed.argument));
    zeph::verify(zeph::QueryParser::standardQuery(text).mode == zeph::QueryMode::standard);
    auto escaped = zeph::QueryParser::escapeForPredicate(text);
    zeph::verify(escaped.size() >= text.size());
    return 0;
}
