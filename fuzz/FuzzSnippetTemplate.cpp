// Arbitrary bytes as a snippet template: tokens, rendering and fill-in fields must agree with each
// other, and text without braces must come out as it went in.
#include "Snippets/SnippetTemplate.h"
#include "Support/Text.h"
#include "Support/Verify.h"

#include <string_view>
#include <unordered_set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace zeph;
    using namespace zeph::SnippetTemplate;
    std::string_view bytes(reinterpret_cast<const char*>(data), size);

    auto tokens = SnippetTemplate::tokens(bytes);
    bool previousIsText = false;
    bool hasCursor = false;
    for (auto& token : tokens) {
        auto* text = std::get_if<Text>(&token);
        // Literal text is gathered into one non-empty token between placeholders.
        verify(!text || (!text->text.empty() && !previousIsText));
        previousIsText = text != nullptr;
        hasCursor = hasCursor || std::holds_alternative<Cursor>(token);
    }

    Context context { .clipboard = "{cursor}",
        .fills = { { "Name", "{{x}}" } },
        .locale = "de_DE",
        .timeZone = "Europe/Berlin" };
    auto rendered = render(bytes, context);
    verify(isValidUTF8(rendered.text));
    verify(rendered.cursorOffsetFromEnd.has_value() == hasCursor);
    if (rendered.cursorOffsetFromEnd)
        verify(*rendered.cursorOffsetFromEnd <= graphemeCount(rendered.text));
    if (bytes.find_first_of("{}") == std::string_view::npos && isValidUTF8(bytes))
        verify(rendered.text == bytes);

    std::unordered_set<std::string> names;
    for (auto& field : fillFields(bytes))
        verify(names.insert(field.name).second);
    return 0;
}
