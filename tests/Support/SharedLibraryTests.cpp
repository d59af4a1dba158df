#include "Support/GLib.h"
#include "Support/SharedLibrary.h"

#include <cstring>
#include <gtest/gtest.h>

namespace zeph {

TEST(SharedLibrary, ResolvesWhatTheLibraryHoldsAndNothingElse)
{
    SharedLibrary c("libc.so.6");
    decltype(&std::strlen) length = nullptr;
    ASSERT_TRUE(c.resolve("strlen", length));
    EXPECT_EQ(length("four"), 4u);
    EXPECT_FALSE(c.resolve("zeph_no_such_function", length));
    EXPECT_EQ(length, nullptr);

    SharedLibrary missing("libzeph-no-such-library.so.0");
    length = &std::strlen;
    EXPECT_FALSE(missing.resolve("strlen", length));
    EXPECT_EQ(length, nullptr);
}

TEST(SharedLibrary, GLibIsOpenedOnceWithEveryFunction)
{
    const auto* glib = GLib::shared();
    ASSERT_NE(glib, nullptr);
    EXPECT_EQ(GLib::shared(), glib);
    auto* found = glib->findProgramInPath("sh");
    EXPECT_NE(found, nullptr);
    glib->free(found);
}

} // namespace zeph
