// The learned-ranking commands of the built zeph, each run against a temporary data folder.
#include "cli/DataFolder.h"

#include <cmath>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using CommandLineTesting::DataFolder;
using zeph::readFile;

using CommandLineTesting::json;
using CommandLineTesting::lines;

double boostFor(double sum)
{
    return 1 - std::exp(-sum / 3);
}

const std::string january = "2026-01-01T09:00:00Z";

} // namespace

TEST(LearnCommand, PicksBecomeBoostsBestFirst)
{
    DataFolder run;
    EXPECT_EQ(run({ "learn", "--now", january, "app:/Safari", "saf" }).exitCode, 0);
    EXPECT_EQ(run({ "learn", "--now", january, "app:/Safari", "saf" }).exitCode, 0);
    EXPECT_EQ(run({ "learn", "--now", january, "app:/Safe", "safe" }).exitCode, 0);
    // Words are joined, and the key has no spaces.
    EXPECT_EQ(run({ "learn", "--now", january, "app:/Sam", "Sa", "M" }).exitCode, 0);

    auto boosts = run({ "boosts", "--now", january, "--json", "saf" });
    EXPECT_EQ(boosts.exitCode, 0);
    auto rows = lines(boosts.output);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(json(rows[0])["id"], "app:/Safari");
    EXPECT_DOUBLE_EQ(json(rows[0])["boost"].get<double>(), boostFor(2));
    EXPECT_EQ(json(rows[1])["id"], "app:/Safe");
    EXPECT_DOUBLE_EQ(json(rows[1])["boost"].get<double>(), boostFor(0.5));

    // Thirty days later every pick counts half; the text form is id and boost.
    auto later = lines(run({ "boosts", "--now", "2026-01-31T09:00:00Z", "sam" }).output);
    ASSERT_EQ(later.size(), 1u);
    ASSERT_TRUE(later[0].starts_with("app:/Sam\t"));
    EXPECT_DOUBLE_EQ(std::stod(later[0].substr(9)), boostFor(0.5));

    auto none = run({ "boosts", "--now", january, "xyz" });
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.output, "");

    auto document = json(readFile(run.path() / "knowledge.json"));
    EXPECT_EQ(document["entries"]["saf"]["app:/Safari"],
        json(R"({"count": 2.0, "lastUsed": "2026-01-01T09:00:00Z"})"));
    EXPECT_TRUE(document["entries"].contains("sam"));
}

TEST(LearnCommand, BadInputIsRefused)
{
    DataFolder run;
    EXPECT_EQ(run({ "learn", "app:/Safari", "   " }).exitCode, 2);
    EXPECT_EQ(run({ "learn", "--now", "yesterday", "app:/Safari", "saf" }).exitCode, 2);
    EXPECT_EQ(run({ "learn", "app:/Safari" }).exitCode, 2);
    EXPECT_EQ(run({ "boosts", "--now", "soon", "saf" }).exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(run.path() / "knowledge.json"));
}

TEST(LearnCommand, ForgetRemovesOneItemOrEverything)
{
    DataFolder run;
    run({ "learn", "--now", january, "app:/Safari", "saf" });
    run({ "learn", "--now", january, "app:/Safari", "web" });
    run({ "learn", "--now", january, "app:/Safe", "saf" });

    auto unknown = run({ "forget", "app:/Unknown" });
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errors, "zeph: Nothing was learned for \"app:/Unknown\".\n");

    EXPECT_EQ(run({ "forget", "app:/Safari" }).exitCode, 0);
    EXPECT_EQ(run({ "boosts", "--now", january, "web" }).exitCode, 1);
    EXPECT_EQ(lines(run({ "boosts", "--now", january, "saf" }).output).size(), 1u);
    auto document = json(readFile(run.path() / "knowledge.json"));
    EXPECT_EQ(document, json(R"({"entries": {"saf": {"app:/Safe":
        {"count": 1.0, "lastUsed": "2026-01-01T09:00:00Z"}}}})"));

    EXPECT_EQ(run({ "forget" }).exitCode, 0);
    EXPECT_EQ(json(readFile(run.path() / "knowledge.json")), json(R"({"entries": {}})"));
}

TEST(LearnCommand, ACorruptKnowledgeFileIsReportedAndSetAside)
{
    DataFolder run;
    std::filesystem::create_directories(run.path());
    const std::string corrupt = R"({"entries": {"a": {"i": {"count": "1"}}}})";
    std::ofstream(run.path() / "knowledge.json") << corrupt;
    auto shown = run({ "boosts", "a" });
    EXPECT_EQ(shown.exitCode, 1);
    EXPECT_NE(shown.errors.find("knowledge.json is not valid"), std::string::npos);
    EXPECT_EQ(readFile(run.path() / "knowledge.json"), corrupt);

    auto learned = run({ "learn", "--now", january, "i", "a" });
    EXPECT_EQ(learned.exitCode, 0);
    EXPECT_NE(learned.errors.find("learning starts afresh"), std::string::npos);
    EXPECT_EQ(readFile(run.path() / "knowledge.json.corrupt"), corrupt);
    EXPECT_EQ(run({ "boosts", "--now", january, "a" }).exitCode, 0);
}

TEST(LearnCommand, ConcurrentPicksLoseNone)
{
    DataFolder run;
    CommandLineTesting::inParallel(4, [&](std::size_t) {
        for (int pick = 0; pick < 5; ++pick)
            run({ "learn", "--now", january, "item", "query" });
        return 0;
    });
    auto document = json(readFile(run.path() / "knowledge.json"));
    EXPECT_EQ(document["entries"]["query"]["item"]["count"], 20.0);
}
