#include "CommandLine.h"

#include <cstdio>
#include <unistd.h>

namespace zeph::CommandLine {

Result<InputBuffer> readStandardInput()
{
    return InputBuffer::read(STDIN_FILENO, "standard input");
}

void printJSON(const Json::Value& value)
{
    auto text = value.dump(-1, ' ', false, Json::Value::error_handler_t::replace);
    text.push_back('\n');
    std::fwrite(text.data(), 1, text.size(), stdout);
}

std::string joinedWords(const std::vector<std::string>& words)
{
    std::string text;
    for (auto& word : words)
        text.append(text.empty() ? "" : " ").append(word);
    return text;
}

int fail(const std::string& message)
{
    std::fprintf(stderr, "zeph: %s\n", message.c_str());
    return badUsage;
}

} // namespace zeph::CommandLine
