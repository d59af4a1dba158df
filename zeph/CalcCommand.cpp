#include "CommandLine.h"
#include "Search/Calculator.h"

#include <cstdio>

namespace zeph::CommandLine {

namespace {

struct CalcOptions {
    std::vector<std::string> words;
    bool json = false;
};

void printRows(const std::vector<CalculatorResult>& rows, bool json)
{
    for (auto& row : rows) {
        if (json) {
            printJSON(toJSON(row));
        } else {
            std::fwrite(row.value.data(), 1, row.value.size(), stdout);
            std::fputc('\n', stdout);
        }
    }
}

// One expression a line; each answer ends with an empty line, so that answers stay in step with
// the lines that asked even where a line is no calculation.
int filter(bool json)
{
    auto input = readStandardInput();
    if (!input)
        return fail(input.error().message);
    bool answered = false;
    std::string_view rest = input->text();
    while (!rest.empty()) {
        auto newline = rest.find('\n');
        auto line = rest.substr(0, newline);
        rest.remove_prefix(newline == std::string_view::npos ? rest.size() : newline + 1);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        auto rows = Calculator::results(line);
        answered = answered || !rows.empty();
        printRows(rows, json);
        std::fputc('\n', stdout);
    }
    return answered ? success : nothingFound;
}

int run(const CalcOptions& options)
{
    if (options.words.empty())
        return filter(options.json);
    auto rows = Calculator::results(joinedWords(options.words));
    printRows(rows, options.json);
    return rows.empty() ? nothingFound : success;
}

} // namespace

void addCalcCommand(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("calc",
        "Print the answer to EXPRESSION as the launcher shows it: arithmetic (\"(12.5+3)*4/7\") "
        "or a unit conversion (\"10 km to mi\"). Without EXPRESSION, answer each line of standard "
        "input, each answer followed by an empty line.");
    auto options = std::make_shared<CalcOptions>();
    command->add_option(
        "expression", options->words, "The text to compute; several words are joined by spaces");
    command->add_flag(
        "--json", options->json, "Print each row as JSON with its expression and value");
    command->callback([&action, options] { action = [options] { return run(*options); }; });
}

} // namespace zeph::CommandLine
