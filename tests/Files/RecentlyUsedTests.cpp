#include "Files/RecentlyUsed.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;

TEST(RecentlyUsed, ReadsTheLatestMomentOfEachLocalFile)
{
    auto used = parseRecentlyUsed(R"(<?xml version="1.0" encoding="UTF-8"?>
<xbel version="1.0" xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"
      xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info">
  <bookmark href="file:///home/ann/Documents/Tax%20Return.pdf" added="2026-01-02T10:00:00.123456Z"
            modified="2026-03-04T10:00:00Z" visited="2026-02-01T00:00:00Z">
    <info><metadata owner="http://freedesktop.org"><mime:mime-type type="application/pdf"/>
      <bookmark:applications><bookmark:application name="Evince" exec="&apos;evince %u&apos;"
        modified="2026-03-04T10:00:00Z" count="3"/></bookmark:applications></metadata></info>
  </bookmark>
  <bookmark href="https://example.com/page" added="2026-01-02T10:00:00Z"
            modified="2026-01-02T10:00:00Z" visited="2026-01-02T10:00:00Z"/>
  <bookmark href="file:///home/ann/caf%C3%A9.txt" added="2025-12-31T23:59:59Z"
            modified="2025-12-31T23:59:59Z" visited="2025-12-31T23:59:59Z"/>
</xbel>)");
    ASSERT_EQ(used.size(), 2u);
    EXPECT_EQ(used.at("/home/ann/Documents/Tax Return.pdf"), 1772618400);
    EXPECT_EQ(used.at("/home/ann/café.txt"), 1767225599);
}

TEST(RecentlyUsed, AnythingElseIsAnEmptyList)
{
    EXPECT_TRUE(parseRecentlyUsed("").empty());
    EXPECT_TRUE(parseRecentlyUsed("<xbel><bookmark href=").empty());
    EXPECT_TRUE(parseRecentlyUsed("\xff\xfe not xml").empty());
    EXPECT_TRUE(readRecentlyUsed("/nonexistent/recently-used.xbel").empty());
}

TEST(RecentlyUsed, LivesInTheDesktopsDataFolder)
{
    EXPECT_EQ(recentlyUsedFile("/home/ann"), "/home/ann/.local/share/recently-used.xbel");
    EXPECT_EQ(recentlyUsedFile("/home/ann", "/data"), "/data/recently-used.xbel");
    EXPECT_EQ(
        recentlyUsedFile("/home/ann", "relative"), "/home/ann/.local/share/recently-used.xbel");
}

} // namespace
