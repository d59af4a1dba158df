// Arbitrary bytes as a script filter's standard output: parsing never fails, keeps "rerun" in its
// range, gives the error row exactly when the bytes do not decode, and what it gives reads back the
// same through the format scripts print.
#include "Support/Verify.h"
#include "Workflows/ScriptFilterOutput.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace {

using namespace zeph;

void checkModifiers(const ScriptFilterItem& item)
{
    verify(item.modifier(ConnectionModifier::none) == nullptr);
    for (auto held : allCases<ConnectionModifier>()) {
        auto* modifier = item.modifier(held);
        verify(!modifier || std::any_of(item.mods.begin(), item.mods.end(), [&](auto& entry) {
            return &entry.second == modifier;
        }));
    }
    verify(!item.mods.contains("cmd") || item.modifier(ConnectionModifier::command));
    verify(!item.mods.contains("opt") || item.modifier(ConnectionModifier::option));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    auto output = ScriptFilterOutput::parse(bytes);
    verify(!output.rerun
        || (*output.rerun >= ScriptFilterOutput::minimumRerun
            && *output.rerun <= ScriptFilterOutput::maximumRerun));
    for (auto& item : output.items)
        checkModifiers(item);

    bool decodes = Json::parse(bytes).has_value() && Json::parse(bytes)->is_object();
    bool isErrorRow = output.items.size() == 1
        && output.items[0].title == "Script filter returned invalid JSON" && !output.items[0].valid;
    verify(decodes || isErrorRow);
    if (isErrorRow && !decodes)
        verify(!output.items[0].subtitle.empty() && output.variables.empty() && !output.rerun);

    auto text = toJSON(output).dump();
    verify(ScriptFilterOutput::parse(text) == output);
    // A run reads its output the same way, but for the empty one, which has no rows.
    verify(ScriptFilterOutput::ofRun({ .stdout = std::string(bytes) })
        == (bytes.empty() ? ScriptFilterOutput {} : output));
    return 0;
}
