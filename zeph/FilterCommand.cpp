#include "CommandLine.h"
#include "Search/LineFilter.h"
#include "Search/Ranker.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

namespace zeph::CommandLine {

namespace {

struct FilterOptions {
    std::string query;
    std::optional<std::size_t> limit;
    double minimumScore = Ranker {}.minimumMatchScore;
    bool json = false;
    unsigned threads = 0;
    std::optional<double> repeatMilliseconds;
    std::optional<std::string> typing;
};

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void printResults(const LineFilter& filter, const QueryText& query, const std::vector<LineFilter::Hit>& hits, bool json)
{
    static char buffer[1 << 16];
    std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    if (json) {
        auto pattern = FuzzyMatcher::makePattern(query);
        for (auto& hit : hits) {
            // Highlights are worked out only for the rows that are shown.
            auto match = filter.match(pattern, hit.item);
            printJSON({ { "title", filter.title(hit.item) }, { "score", hit.score },
                { "indices", match ? match->indices : std::vector<int> {} } });
        }
        return;
    }
    // Gathered into large writes: a locked stdio call or two a line cost more than the search for
    // a query that matches most lines.
    std::string lines;
    auto flush = [&] {
        std::fwrite(lines.data(), 1, lines.size(), stdout);
        lines.clear();
    };
    filter.forEachTitle(hits, [&](std::string_view title) {
        lines += title;
        lines += '\n';
        if (lines.size() >= sizeof buffer)
            flush();
    });
    flush();
}

std::vector<std::string> keystrokes(const FilterOptions& options)
{
    if (!options.typing)
        return { options.query };
    std::vector<std::string> queries;
    std::string_view rest = *options.typing;
    for (;;) {
        auto comma = rest.find(',');
        queries.emplace_back(rest.substr(0, comma));
        if (comma == std::string_view::npos)
            break;
        rest.remove_prefix(comma + 1);
    }
    return queries;
}

// Replays the keystrokes, once or for as long as asked, each replay starting afresh.
int measure(LineFilter& filter, const FilterOptions& options, const LineFilter::Options& searchOptions)
{
    auto queries = keystrokes(options);
    std::vector<QueryText> prepared;
    for (auto& query : queries)
        prepared.push_back(makeQueryText(query));
    std::vector<std::vector<double>> times(queries.size());
    std::vector<std::size_t> matches(queries.size());
    filter.prepareForTyping(options.threads);
    auto start = Clock::now();
    std::size_t iterations = 0;
    do {
        filter.forgetPreviousQuery();
        for (std::size_t index = 0; index < queries.size(); ++index) {
            auto keystroke = Clock::now();
            matches[index] = filter.search(prepared[index], searchOptions).size();
            times[index].push_back(millisecondsSince(keystroke));
        }
        ++iterations;
    } while (options.repeatMilliseconds && millisecondsSince(start) < *options.repeatMilliseconds);

    if (options.repeatMilliseconds)
        std::printf("iterations %zu\n", iterations);
    for (std::size_t index = 0; index < queries.size(); ++index) {
        auto& samples = times[index];
        std::sort(samples.begin(), samples.end());
        if (options.repeatMilliseconds) {
            std::printf("%s\t%zu matches\tmin %.4f ms\tmedian %.4f ms\tmax %.4f ms\n", queries[index].c_str(),
                matches[index], samples.front(), samples[samples.size() / 2], samples.back());
        } else {
            std::printf("%s\t%zu matches\t%.4f ms\n", queries[index].c_str(), matches[index], samples.front());
        }
    }
    return matches.back() ? success : nothingFound;
}

int run(const FilterOptions& options)
{
    if (!options.typing && options.query.empty() && !options.repeatMilliseconds)
        return fail("filter needs a QUERY or --type.");
    auto input = readStandardInput();
    if (!input)
        return fail(input.error().message);
    LineFilter filter(std::move(*input), options.threads);
    LineFilter::Options searchOptions { .limit = options.limit, .minimumScore = options.minimumScore, .threads = options.threads };
    if (options.repeatMilliseconds || options.typing)
        return measure(filter, options, searchOptions);
    auto query = makeQueryText(options.query);
    auto hits = filter.search(query, searchOptions);
    printResults(filter, query, hits, options.json);
    return hits.empty() ? nothingFound : success;
}

} // namespace

void addFilterCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("filter",
        "Filter the lines of standard input by QUERY and print the matching ones, best first.");
    auto options = std::make_shared<FilterOptions>();
    command->add_option("query", options->query, "The typed text");
    command->add_option("--limit", options->limit, "Print at most this many lines");
    command->add_option("--min-score", options->minimumScore, "The lowest match score kept (default 0.2)")
        ->check(CLI::Range(0.0, 2.0));
    command->add_flag("--json", options->json, "Print each line as JSON with its score and matched positions");
    command->add_option("--threads", options->threads, "Threads to search with (default: one per core)");
    command->add_option("--repeat", options->repeatMilliseconds,
        "Load once, then repeat the search for this many milliseconds and print its timing")
        ->check(CLI::PositiveNumber);
    command->add_option("--type", options->typing,
        "Replay a typing sequence such as \"c,co,cod,code\" and print the time of each keystroke");
    command->callback([&action, options] { action = [options] { return run(*options); }; });
}

} // namespace zeph::CommandLine
