#include "CommandLine.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeph::CommandLine {

namespace {

Result<std::string> readAll(int descriptor, const std::string& name)
{
    std::string content;
    struct stat status { };
    // A regular file is read in one go into a buffer of its size.
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        content.reserve(static_cast<std::size_t>(status.st_size) + 1);
    std::size_t size = 0;
    for (;;) {
        if (content.size() == size)
            content.resize(std::max<std::size_t>(content.capacity(), size + 65536));
        auto count = ::read(descriptor, content.data() + size, content.size() - size);
        if (count == 0)
            break;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return Error { "Could not read " + name + ": " + std::strerror(errno) + "." };
        }
        size += static_cast<std::size_t>(count);
    }
    content.resize(size);
    return content;
}

} // namespace

Result<std::string> readStandardInput()
{
    return readAll(STDIN_FILENO, "standard input");
}

Result<std::string> readFile(const std::string& path)
{
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return Error { "Could not open " + path + ": " + std::strerror(errno) + "." };
    auto content = readAll(descriptor, path);
    ::close(descriptor);
    return content;
}

void printJSON(const Json::Value& value)
{
    auto text = value.dump(-1, ' ', false, Json::Value::error_handler_t::replace);
    text.push_back('\n');
    std::fwrite(text.data(), 1, text.size(), stdout);
}

int fail(const std::string& message)
{
    std::fprintf(stderr, "zeph: %s\n", message.c_str());
    return badUsage;
}

} // namespace zeph::CommandLine
