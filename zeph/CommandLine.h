#pragma once

#include "Support/InputBuffer.h"
#include "Support/IsoDate.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace zeph::CommandLine {

// Exit statuses shared by every command.
enum ExitStatus : int { success = 0, nothingFound = 1, badUsage = 2 };

// Each command registers itself and, when chosen, leaves what to run in `action`.
using Action = std::function<int()>;
void addPrepareCommand(CLI::App& app, Action& action);
void addMatchCommand(CLI::App& app, Action& action);
void addParseCommand(CLI::App& app, Action& action);
void addRankCommand(CLI::App& app, Action& action);
void addFilterCommand(CLI::App& app, Action& action);
void addCalcCommand(CLI::App& app, Action& action);
void addWebCommand(CLI::App& app, Action& action);
void addKeysCommand(CLI::App& app, Action& action);

// Options of the whole command line, read by the commands when they run.
struct GlobalOptions {
    std::optional<std::string> dataDirectory {}; // --data-dir.
    // --data-dir, else ZEPH_DATA_DIR, else the per-user data folder; created if missing.
    std::filesystem::path dataFolder() const;
};
void addClipboardCommand(CLI::App& app, Action& action, const GlobalOptions& options);
void addSnippetsCommand(CLI::App& app, Action& action, const GlobalOptions& options);

// All of standard input; read errors are reported, never thrown.
Result<InputBuffer> readStandardInput();
// One compact JSON value on a line of its own; invalid UTF-8 in strings becomes U+FFFD.
void printJSON(const Json::Value& value);
// Positional words as one text, joined by single spaces, so that unquoted words work too.
std::string joinedWords(const std::vector<std::string>& words);
// One line "zeph: <message>" on standard error.
void warn(const std::string& message);
// The same line; returns the bad-usage status.
int fail(const std::string& message);
// The same line for an unknown id or nothing to show; returns the nothing-found status.
int notFound(const std::string& message);
// The --now option: the given ISO 8601 moment, else the present one.
Result<Date> presentDate(const std::optional<std::string>& now);

} // namespace zeph::CommandLine
