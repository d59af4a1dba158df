#include "cli/RunZeph.h"

#include "Support/TemporaryDirectory.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace CommandLineTesting {

// Standard input, output and errors go through files, so that no pipe can fill up and block.
Run run(const char* executable, const std::vector<std::string>& arguments, const std::string& input,
    const Environment& environment)
{
    char directory[] = "/tmp/zeph-cli-XXXXXX";
    if (!mkdtemp(directory))
        return {};
    std::string base = directory;
    std::ofstream(base + "/in", std::ios::binary) << input;
    pid_t child = fork();
    if (child == 0) {
        int in = open((base + "/in").c_str(), O_RDONLY);
        int out = open((base + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int err = open((base + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        for (auto& [name, value] : environment) {
            if (value.empty())
                unsetenv(name.c_str());
            else
                setenv(name.c_str(), value.c_str(), 1);
        }
        std::vector<char*> argv { const_cast<char*>(executable) };
        for (auto& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(executable, argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Run run { .exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
        .output = zeph::readFile(base + "/out"),
        .errors = zeph::readFile(base + "/err") };
    for (auto name : { "/in", "/out", "/err" })
        std::remove((base + name).c_str());
    rmdir(directory);
    return run;
}

Run runZeph(const std::vector<std::string>& arguments, const std::string& input,
    const Environment& environment)
{
    return run(ZEPH_EXECUTABLE, arguments, input, environment);
}

Run zephMCP(const std::string& input, const Environment& environment)
{
    return run(ZEPH_MCP_EXECUTABLE, {}, input, environment);
}

} // namespace CommandLineTesting
