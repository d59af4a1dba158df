#include "Workflows/ScriptFilterOutput.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using Item = ScriptFilterItem;

ScriptFilterOutput errorOutput(std::string subtitle)
{
    return { .items = { { .title = "Script filter returned invalid JSON",
                 .subtitle = std::move(subtitle),
                 .valid = false } } };
}

// The one item of an output of one item.
Item onlyItem(const std::string& itemJSON)
{
    auto output = ScriptFilterOutput::parse(R"({"items": [)" + itemJSON + "]}");
    EXPECT_EQ(output.items.size(), 1u) << itemJSON;
    return output.items.empty() ? Item {} : output.items.front();
}

} // namespace

TEST(ScriptFilterOutput, EveryFieldIsRead)
{
    auto output = ScriptFilterOutput::parse(R"({
        "items": [{
            "uid": "1", "title": "Title", "subtitle": "Sub", "arg": "value", "valid": false,
            "autocomplete": "text", "icon": {"type": "fileicon", "path": "/path/to/icon.png"},
            "variables": {"k": "v"}, "quicklookurl": "https://example.com/preview",
            "mods": {"cmd": {"arg": "other", "subtitle": "Other", "valid": true,
                             "variables": {"m": "n"}},
                     "shift": {}}
        }],
        "variables": {"run": "wide"}, "rerun": 1.0,
        "skipknowledge": true, "cache": {"seconds": 5}
    })");
    EXPECT_EQ(output,
        (ScriptFilterOutput { .items = { { .uid = "1",
                                  .title = "Title",
                                  .subtitle = "Sub",
                                  .arg = "value",
                                  .valid = false,
                                  .autocomplete = "text",
                                  .iconPath = "/path/to/icon.png",
                                  .variables = { { "k", "v" } },
                                  .mods = { { "cmd",
                                                { .arg = "other",
                                                    .subtitle = "Other",
                                                    .valid = true,
                                                    .variables = Variables { { "m", "n" } } } },
                                      { "shift", {} } },
                                  .quicklookURL = "https://example.com/preview" } },
            .variables = { { "run", "wide" } },
            .rerun = 1.0 }));
}

TEST(ScriptFilterOutput, MissingKeysTakeTheirDefaults)
{
    EXPECT_EQ(onlyItem("{}"), Item {});
    EXPECT_EQ(onlyItem(R"({"title": null, "valid": null, "uid": null, "mods": null})"), Item {});
    EXPECT_EQ(ScriptFilterOutput::parse("{}"), ScriptFilterOutput {});
    EXPECT_EQ(ScriptFilterOutput::parse(R"({"items": []})"), ScriptFilterOutput {});
    // A missing or malformed icon is no icon.
    for (auto icon : { R"("icon.png")", "[]", R"({"type": "fileicon"})", R"({"path": 3})" })
        EXPECT_EQ(onlyItem(std::string(R"({"icon": )") + icon + "}").iconPath, std::nullopt)
            << icon;
}

TEST(ScriptFilterOutput, ArgumentsAreReadTolerantly)
{
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        { R"("text")", "text" },
        { "42", "42" },
        { "42.0", "42" },
        { "-7", "-7" },
        { "1.5", "1.5" },
        { "0.1", "0.1" },
        { "1e20", "1e+20" },
        { "9007199254740993", "9007199254740992" },
        { R"(["a", "b"])", "a\nb" },
        { R"(["", "b"])", "\nb" },
        { "[]", "" },
        { R"(["a", 1])", std::nullopt },
        { "true", std::nullopt },
        { "null", std::nullopt },
        { R"({"a": "b"})", std::nullopt },
    };
    for (auto& [json, expected] : cases) {
        SCOPED_TRACE(json);
        EXPECT_EQ(onlyItem(std::string(R"({"title": "a", "arg": )") + json + "}").arg, expected);
        EXPECT_EQ(
            onlyItem(std::string(R"({"mods": {"alt": {"arg": )") + json + "}}}").mods["alt"].arg,
            expected);
    }
}

TEST(ScriptFilterOutput, VariablesAreReadTolerantly)
{
    const std::pair<const char*, std::optional<Variables>> cases[] = {
        { R"({"n": "1"})", Variables { { "n", "1" } } },
        // Numbers always read in floating point form, unlike an argument.
        { R"({"n": 1, "m": 1.5, "big": 1e20})",
            Variables { { "n", "1.0" }, { "m", "1.5" }, { "big", "1e+20" } } },
        { R"({"yes": true, "no": false})", Variables { { "yes", "true" }, { "no", "false" } } },
        { "{}", Variables {} },
        // Mixed types match none of the forms and drop the whole map.
        { R"({"n": 1, "s": "x"})", std::nullopt },
        { R"({"n": null})", std::nullopt },
        { R"(["a"])", std::nullopt },
        { R"("a=b")", std::nullopt },
    };
    for (auto& [json, expected] : cases) {
        SCOPED_TRACE(json);
        auto output = ScriptFilterOutput::parse(std::string(R"({"variables": )") + json
            + R"(, "items": [{"variables": )" + json + R"(, "mods": {"cmd": {"variables": )" + json
            + "}}}]}");
        ASSERT_EQ(output.items.size(), 1u);
        EXPECT_EQ(output.variables, expected.value_or(Variables {}));
        EXPECT_EQ(output.items[0].variables, expected.value_or(Variables {}));
        EXPECT_EQ(output.items[0].mods["cmd"].variables, expected);
    }
}

TEST(ScriptFilterOutput, RerunIsClampedIntoItsRange)
{
    const std::pair<const char*, double> cases[] = {
        { "0.01", 0.1 },
        { "0", 0.1 },
        { "-3", 0.1 },
        { "0.5", 0.5 },
        { "5", 5 },
        { "60", 5 },
    };
    for (auto& [json, expected] : cases) {
        SCOPED_TRACE(json);
        EXPECT_EQ(
            ScriptFilterOutput::parse(std::string(R"({"rerun": )") + json + "}").rerun, expected);
    }
}

TEST(ScriptFilterOutput, OutputThatDoesNotDecodeBecomesOneErrorRow)
{
    const std::pair<std::string, std::string> cases[] = {
        { "", "No output" },
        { " \n\t\n ", "No output" },
        { "hello\nworld", "hello" },
        { "\n\n  first line  \r\nsecond", "first line  " },
        { "line\u2028next", "line" },
        { "bad \xFF byte\n", "bad \uFFFD byte" },
        { R"({"items": [}")", R"({"items": [}")" },
        // The structure is not forgiven: items that are not a list, an item that is not an object.
        { R"({"items": {"title": "a"}})", R"({"items": {"title": "a"}})" },
        { R"({"items": ["a"]})", R"({"items": ["a"]})" },
        { "[]", "[]" },
        { "42", "42" },
        // Nor are wrong types in the fields that are not tolerant.
        { R"({"items": [{"title": 1}]})", R"({"items": [{"title": 1}]})" },
        { R"({"items": [{"uid": 1}]})", R"({"items": [{"uid": 1}]})" },
        { R"({"items": [{"valid": "yes"}]})", R"({"items": [{"valid": "yes"}]})" },
        { R"({"items": [{"mods": []}]})", R"({"items": [{"mods": []}]})" },
        { R"({"items": [{"mods": {"cmd": "x"}}]})", R"({"items": [{"mods": {"cmd": "x"}}]})" },
        { R"({"items": [{"mods": {"cmd": {"valid": 1}}}]})",
            R"({"items": [{"mods": {"cmd": {"valid": 1}}}]})" },
        { R"({"rerun": "1"})", R"({"rerun": "1"})" },
        { "{\"items\": []}\ntrailing", "{\"items\": []}" },
    };
    for (auto& [data, subtitle] : cases) {
        SCOPED_TRACE(data);
        EXPECT_EQ(ScriptFilterOutput::parse(data), errorOutput(subtitle));
    }
}

TEST(ScriptFilterOutput, AHeldKeyFindsItsModifier)
{
    auto item = onlyItem(R"({"title": "a", "mods": {"opt": {"arg": "o"}, "ctrl": {"arg": "c"},
        "cmd": {"arg": "m"}, "shift": {"arg": "s"}}})");
    auto argOf = [&](const Item& of, ConnectionModifier held) -> std::optional<std::string> {
        auto* modifier = of.modifier(held);
        return modifier ? modifier->arg : std::optional<std::string>("<none>");
    };
    EXPECT_EQ(argOf(item, ConnectionModifier::none), "<none>");
    EXPECT_EQ(argOf(item, ConnectionModifier::command), "m");
    EXPECT_EQ(argOf(item, ConnectionModifier::option), "o");
    EXPECT_EQ(argOf(item, ConnectionModifier::control), "c");
    EXPECT_EQ(argOf(item, ConnectionModifier::shift), "s");
    // "alt" wins over "opt".
    auto both = onlyItem(R"({"mods": {"opt": {"arg": "o"}, "alt": {"arg": "a"}}})");
    EXPECT_EQ(argOf(both, ConnectionModifier::option), "a");
    EXPECT_EQ(argOf(Item {}, ConnectionModifier::command), "<none>");
    EXPECT_EQ(argOf(both, ConnectionModifier::shift), "<none>");
}

TEST(ScriptFilterOutput, TheFirstActionableRowCarriesItsVariablesOverTheOutputs)
{
    auto output = ScriptFilterOutput::parse(R"({"variables": {"a": "out", "b": "out"}, "items": [
        {"title": "No argument"}, {"title": "Not valid", "arg": "x", "valid": false},
        {"title": "Chosen", "arg": "", "variables": {"b": "row", "c": "row"}},
        {"title": "Later", "arg": "later"}]})");
    auto* chosen = output.firstActionableItem();
    ASSERT_NE(chosen, nullptr);
    EXPECT_EQ(chosen->title, "Chosen");
    EXPECT_EQ(output.variablesOfChoice(*chosen),
        (Variables { { "a", "out" }, { "b", "row" }, { "c", "row" } }));
    EXPECT_EQ(
        ScriptFilterOutput::parse(R"({"items": [{"title": "t"}]})").firstActionableItem(), nullptr);
}

TEST(ScriptFilterOutput, AFailedRunThatPrintedNothingBecomesAFailureRow)
{
    auto failure = [](std::string subtitle) {
        return ScriptFilterOutput { .items = { { .title = "Script filter failed",
                                        .subtitle = std::move(subtitle),
                                        .valid = false } } };
    };
    EXPECT_EQ(ScriptFilterOutput::ofRun({ .stderr = " boom \n", .exitCode = 2 }), failure("boom"));
    EXPECT_EQ(ScriptFilterOutput::ofRun({ .stderr = "late", .exitCode = 15, .timedOut = true }),
        failure("Timed out"));
    EXPECT_EQ(ScriptFilterOutput::ofRun({ .stderr = "Could not run /usr/bin/osascript: No such "
                                                    "file or directory",
                  .exitCode = -1 }),
        failure("Could not run /usr/bin/osascript: No such file or directory"));
    // A run that printed something is read, whatever its exit; one that printed nothing but
    // exited well is empty output.
    EXPECT_EQ(
        ScriptFilterOutput::ofRun({ .stdout = R"({"items": [{"title": "a"}]})", .exitCode = 1 })
            .items[0]
            .title,
        "a");
    EXPECT_EQ(ScriptFilterOutput::ofRun({}), ScriptFilterOutput {});
    EXPECT_EQ(ScriptFilterOutput::parse(""), errorOutput("No output"));
}

TEST(ScriptFilterOutput, WhatIsWrittenReadsBackTheSame)
{
    ScriptFilterOutput output { .items
        = { { .uid = "u",
                .title = "T",
                .arg = "x\ny",
                .iconPath = "icon.png",
                .mods = { { "alt", { .valid = false } }, { "cmd", { .variables = Variables {} } } },
                .quicklookURL = "q" },
            { .title = "plain", .valid = false } },
        .variables = { { "a", "b" } },
        .rerun = 0.25 };
    EXPECT_EQ(ScriptFilterOutput::parse(toJSON(output).dump()), output);
}

} // namespace zeph
