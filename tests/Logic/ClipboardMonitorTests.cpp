#include "Logic/ClipboardMonitor.h"

#include "LauncherWorld.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using namespace std::chrono_literals;

struct MonitorFixture
    : testing::Test
    , LauncherWorld {
    const std::vector<ClipboardItem>& history() { return model.clipboardHistory().get().items; }
};

// The start of a 1×1 PNG: its signature and header, which is what tells its size.
constexpr char pngHeader[] = "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x01\0\0\0\x01\x08\x06\0\0\0";
const std::string png(pngHeader, sizeof pngHeader - 1);

TEST_F(MonitorFixture, KeepsWhatIsCopiedFromNowOn)
{
    clipboard.copy(ClipboardContents::text("before the start"));
    monitor.start();
    EXPECT_TRUE(history().empty());
    clipboard.copy(ClipboardContents::text("https://example.com"));
    ASSERT_EQ(history().size(), 1u);
    EXPECT_EQ(history()[0].text, "https://example.com");
    EXPECT_EQ(history()[0].kind, ClipboardKind::link);
    EXPECT_EQ(history()[0].sourceApp, "Text Editor");
    EXPECT_EQ(history()[0].sourceBundleID, "org.gnome.TextEditor");
    clipboard.copy(ClipboardContents::text(std::string(150'000, 'x')));
    EXPECT_EQ(history()[0].text.size(), 100'000u);
    // A change the monitor hears twice counts once.
    monitor.poll();
    EXPECT_EQ(history().size(), 2u);
}

TEST_F(MonitorFixture, LeavesOutWhatMustNotBeRemembered)
{
    monitor.start();
    clipboard.copy(ClipboardContents::text("hunter2", true));
    clipboard.copy(
        { { { "text/plain;charset=utf-8", "token" }, { "org.nspasteboard.TransientType", "" } } });
    clipboard.clipboardState = "sensitive";
    clipboard.copy(ClipboardContents::text("from a Wayland password manager"));
    clipboard.clipboardState.clear();
    focus.focused
        = ApplicationIdentity { .id = "org.keepassxc.KeePassXC", .windowClass = "keepassxc" };
    clipboard.copy(ClipboardContents::text("from KeePassXC"));
    focus.focused = ApplicationIdentity { .id = "org.gnome.TextEditor" };
    inserter.ignoreCaptures(1000ms);
    clipboard.copy(ClipboardContents::text("a paste of the launcher's"));
    loop.advance(1000ms);
    clipboard.copy(ClipboardContents::text("   \n\t "));
    EXPECT_TRUE(history().empty());
    clipboard.copy(ClipboardContents::text("kept"));
    EXPECT_EQ(history().size(), 1u);
}

TEST_F(MonitorFixture, ASwitchedOffHistoryStillMovesOn)
{
    model.settings().change([](AppSettings& settings) { settings.clipboard.enabled = false; });
    monitor.start();
    clipboard.copy(ClipboardContents::text("while off"));
    model.settings().change([](AppSettings& settings) { settings.clipboard.enabled = true; });
    monitor.poll();
    EXPECT_TRUE(history().empty());
}

TEST_F(MonitorFixture, KeepsImagesAsPNGFilesUnlessThereIsText)
{
    monitor.start();
    clipboard.copy({ { { "text/plain;charset=utf-8", "caption" }, { "image/png", png } } });
    ASSERT_EQ(history().size(), 1u);
    EXPECT_EQ(history()[0].kind, ClipboardKind::text);
    clipboard.copy(ClipboardContents::image(png));
    ASSERT_EQ(history().size(), 2u);
    EXPECT_EQ(history()[0].kind, ClipboardKind::image);
    EXPECT_EQ(history()[0].text, "Image 1 × 1");
    ASSERT_TRUE(history()[0].imageFile);
    EXPECT_TRUE(std::filesystem::exists(model.clipboardImagesFolder() / *history()[0].imageFile));
    model.settings().change(
        [](AppSettings& settings) { settings.clipboard.includeImages = false; });
    clipboard.copy(ClipboardContents::image(png));
    EXPECT_EQ(history().size(), 2u);
}

TEST_F(MonitorFixture, PrunesEveryHour)
{
    model.settings().change([](AppSettings& settings) { settings.clipboard.retentionDays = 1; });
    model.addClipboardItem(
        { .id = "old", .text = "old", .date = loop.now() - std::chrono::hours(30) });
    monitor.start();
    EXPECT_TRUE(history().empty());
    model.addClipboardItem(
        { .id = "recent", .text = "recent", .date = loop.now() - std::chrono::hours(23) });
    loop.advance(std::chrono::minutes(59));
    EXPECT_EQ(history().size(), 1u);
    loop.advance(std::chrono::minutes(61));
    EXPECT_TRUE(history().empty());
}

} // namespace
