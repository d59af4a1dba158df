// Arbitrary bytes as the files of a snippet pack, read both as "info.plist" and as a snippet's JSON
// file: whatever comes out must be valid text that the snippets document can hold.
#include "Snippets/AlfredSnippetImporter.h"
#include "Support/Verify.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace zeph;
    std::string_view bytes(reinterpret_cast<const char*>(data), size);

    auto info = AlfredSnippetImporter::packInfo(bytes);
    auto snippet = AlfredSnippetImporter::snippet(bytes);
    SnippetCollection collection { .prefix = info.prefix, .suffix = info.suffix };
    if (snippet) {
        verify(!snippet->id.empty() && snippet->isEnabled);
        verify(snippet->content.find("{clipboard:") == std::string::npos
            || snippet->content.find('}', snippet->content.find("{clipboard:"))
                == std::string::npos);
        collection.snippets.push_back(*snippet);
    }
    // Both readers must hand on valid UTF-8, or the document could not be written.
    verify(Json::documentText(toJSON(collection)).has_value());

    auto converted = AlfredSnippetImporter::convertPlaceholders(bytes);
    verify(AlfredSnippetImporter::convertPlaceholders(converted) == converted);
    return 0;
}
