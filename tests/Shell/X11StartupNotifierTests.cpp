#include "Platform/X11StartupNotifier.h"

#include <gtest/gtest.h>

namespace {

using zeph::startupMessage;

TEST(StartupMessage, QuotesEveryValueAndEscapesQuotesAndBackslashes)
{
    EXPECT_EQ(startupMessage("new",
                  { { "ID", "zeph-1_TIME42" }, { "NAME", "Text \"Editor\"" },
                      { "BIN", "/opt/my apps/edit\\or" } }),
        R"(new: ID="zeph-1_TIME42" NAME="Text \"Editor\"" BIN="/opt/my apps/edit\\or")");
}

TEST(StartupMessage, LeavesOutEmptyValues)
{
    EXPECT_EQ(startupMessage("remove", { { "ID", "a" }, { "ICON", "" } }), R"(remove: ID="a")");
    EXPECT_EQ(startupMessage("new", { { "WMCLASS", "" } }), "new:");
}

} // namespace
