#include "Support/InputBuffer.h"

#include "TemporaryDirectory.h"

#include <fcntl.h>
#include <fstream>
#include <future>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

std::string readAll(int descriptor)
{
    auto buffer = InputBuffer::read(descriptor, "the input");
    EXPECT_TRUE(buffer.has_value());
    return buffer ? std::string(buffer->text()) : std::string();
}

} // namespace

// Standard input may be a file that others read before or after us: a file is mapped, but what
// is taken is what a read from the current position would take, and it is taken for good.
TEST(InputBuffer, AFileIsReadFromWhereItStandsToItsEnd)
{
    TemporaryDirectory folder;
    auto path = (folder / "lines.txt").string();
    std::ofstream(path) << "first\nsecond\nthird\n";

    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(readAll(descriptor), "first\nsecond\nthird\n");
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 19);
    EXPECT_EQ(readAll(descriptor), "");

    ASSERT_EQ(lseek(descriptor, 6, SEEK_SET), 6);
    EXPECT_EQ(readAll(descriptor), "second\nthird\n");
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 19);
    ::close(descriptor);

    std::ofstream(folder / "empty.txt");
    auto empty = InputBuffer::readFile((folder / "empty.txt").string());
    ASSERT_TRUE(empty.has_value());
    EXPECT_EQ(empty->text(), "");
    EXPECT_FALSE(InputBuffer::readFile((folder / "missing.txt").string()));
}

TEST(InputBuffer, APipeIsReadPastItsFirstMegabyte)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string text;
    for (int line = 0; text.size() < (std::size_t { 3 } << 20); ++line)
        text += std::to_string(line) + "\n";
    auto written = std::async(std::launch::async, [&] {
        auto rest = std::string_view(text);
        while (!rest.empty()) {
            auto count = ::write(ends[1], rest.data(), rest.size());
            if (count <= 0)
                break;
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
        ::close(ends[1]);
    });
    EXPECT_EQ(readAll(ends[0]), text);
    // Closed before waiting: a writer left with bytes to write then fails instead of hanging.
    ::close(ends[0]);
    written.wait();
}
