#pragma once

#include "Support/Json.h"
#include "Workflows/ScriptRunning.h"
#include "Workflows/Workflow.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// One row that a script filter printed.
struct ScriptFilterItem {
    // What holding a key while choosing the row changes. Every field is optional.
    struct Modifier {
        std::optional<std::string> arg {};
        std::optional<std::string> subtitle {};
        std::optional<bool> valid {};
        std::optional<Variables> variables {};
        bool operator==(const Modifier&) const = default;
    };

    std::optional<std::string> uid {};
    std::string title {};
    std::string subtitle {};
    std::optional<std::string> arg {}; // Becomes {query} when the row is chosen.
    bool valid = true;
    std::optional<std::string> autocomplete {};
    std::optional<std::string>
        iconPath {}; // "icon": {"path": …}; relative to the workflow's folder.
    Variables variables {};
    // Keyed "cmd", "alt" or "opt", "ctrl", "shift".
    std::map<std::string, Modifier> mods {};
    std::optional<std::string> quicklookURL {}; // "quicklookurl".
    bool operator==(const ScriptFilterItem&) const = default;

    // The entry of `mods` for a held key: "cmd" for command, "alt" else "opt" for option, "ctrl"
    // for control, "shift" for shift; nothing for none.
    const Modifier* modifier(ConnectionModifier held) const;
};

// What a script filter printed: its rows, variables for whatever runs next, and whether to run the
// script again.
struct ScriptFilterOutput {
    static constexpr double minimumRerun = 0.1;
    static constexpr double maximumRerun = 5.0;

    std::vector<ScriptFilterItem> items {};
    Variables variables {};
    std::optional<double> rerun {}; // Seconds, within 0.1 and 5.
    bool operator==(const ScriptFilterOutput&) const = default;

    // Reads the "items" JSON that a script printed. Forgiving where hand-written scripts are
    // sloppy: a number or a list of texts for "arg", numbers or booleans for "variables", a
    // "rerun" out of range. Never fails: output that does not decode becomes one row that is not
    // valid, titled "Script filter returned invalid JSON", with the output's first line (or "No
    // output") below.
    static ScriptFilterOutput parse(std::string_view data);

    // The rows of a whole run, as the launcher shows them: a run that printed nothing and timed
    // out or failed becomes one row that is not valid, "Script filter failed", with "Timed out" or
    // the error output below; a run that printed nothing otherwise has no rows; any other run is
    // its parsed output.
    static ScriptFilterOutput ofRun(const ScriptResult& result);

    // The first row that can be chosen: valid and with an argument. Nothing when there is none.
    const ScriptFilterItem* firstActionableItem() const;
    // What choosing `item` hands the run beside its argument: the output's variables, with the
    // row's laid over them.
    Variables variablesOfChoice(const ScriptFilterItem& item) const;
};

// In the format the scripts print, so that what parse reads back is the same output.
Json::Value toJSON(const ScriptFilterItem& item);
Json::Value toJSON(const ScriptFilterOutput& output);

} // namespace zeph
