#pragma once

#include <string>
#include <utility>
#include <vector>

// Drives the built zeph as a child process, as scripts do: arguments, environment, standard input,
// output and exit status are the contract.
namespace CommandLineTesting {

struct Run {
    int exitCode = -1;
    std::string output {};
    std::string errors {};
};

using Environment = std::vector<std::pair<std::string, std::string>>;

// Runs `executable` with `arguments`; `environment` is set (an empty value unsets the variable) on
// top of the test's own.
Run run(const char* executable, const std::vector<std::string>& arguments,
    const std::string& input = "", const Environment& environment = {});

// Runs the built zeph with `arguments` after `--data-dir`-free defaults.
Run runZeph(const std::vector<std::string>& arguments, const std::string& input = "",
    const Environment& environment = {});

// Runs the built zeph-mcp, which takes no arguments, with `input` as its standard input.
Run zephMCP(const std::string& input, const Environment& environment = {});

} // namespace CommandLineTesting
