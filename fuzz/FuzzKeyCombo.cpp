// Arbitrary bytes as the text of a key combination, as agents and the command line write it:
// whatever parses names a known key, and its text form reads back as the same combo.
#include "Storage/KeyCombo.h"
#include "Support/Verify.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    auto combo = zeph::KeyCombo::parse(text);
    if (!combo)
        return 0;
    zeph::verify(!zeph::KeyCode::name(combo->keyCode).starts_with("Key "));
    zeph::verify(zeph::KeyCombo::parse(combo->textForm()) == combo);
    zeph::verify(zeph::keyComboFromJSON(zeph::toJSON(*combo))
                     .value_or(zeph::KeyCombo { .keyCode = 0xFFFFFFFF })
        == *combo);
    zeph::verify(combo->displayString().ends_with(zeph::KeyCode::name(combo->keyCode)));
    return 0;
}
