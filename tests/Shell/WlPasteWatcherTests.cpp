#include "Platform/WlPasteWatcher.h"

#include "Shell/TestApplication.h"
#include "Support/TemporaryDirectory.h"

#include <fstream>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

namespace {

using namespace zeph;

TEST(WlPasteWatcher, ReadsTextBeforeAnImageAndNothingElse)
{
    EXPECT_EQ(
        WlPasteWatcher::typeToRead({ "image/png", "text/plain", "UTF8_STRING" }), "UTF8_STRING");
    EXPECT_EQ(WlPasteWatcher::typeToRead({ "text/html", "image/png" }), "image/png");
    EXPECT_EQ(WlPasteWatcher::typeToRead({ "application/x-kde-cutselection" }), std::nullopt);
}

// wl-paste stood in for by a script: the watch reports a sensitive offer, then one with text, then
// an emptied clipboard; the short runs answer from files.
TEST(WlPasteWatcher, ReportsEachOfferWithItsStateTypesAndTextButNeverReadsASensitiveOne)
{
    Testing::TestApplication<QCoreApplication> application;
    TemporaryDirectory folder;
    auto script = folder / "wl-paste";
    std::ofstream(script) << "#!/bin/sh\n"
                             "here=$(dirname \"$0\")\n"
                             "echo \"$*\" >> \"$here/runs\"\n"
                             "case \"$1\" in\n"
                             "--watch) shift\n"
                             "  for state in sensitive data nil; do\n"
                             "    printf 'the contents' | CLIPBOARD_STATE=$state \"$@\"\n"
                             "    sleep 0.3\n"
                             "  done\n"
                             "  exec sleep 30 ;;\n"
                             "--list-types) printf 'text/html\\ntext/plain;charset=utf-8\\n' ;;\n"
                             "--no-newline) printf 'copied text' ;;\n"
                             "esac\n";
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);

    std::vector<ClipboardOffer> offers;
    WlPasteWatcher watcher([&](ClipboardOffer offer) { offers.push_back(std::move(offer)); },
        QString::fromStdString(script.string()));
    ASSERT_TRUE(watcher.start());
    QElapsedTimer clock;
    clock.start();
    while (offers.size() < 2 && clock.elapsed() < 10'000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    // Time for the emptied clipboard, which must not become an offer.
    while (clock.elapsed() < 1500)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);

    ASSERT_EQ(offers.size(), 2u);
    EXPECT_EQ(offers[0], (ClipboardOffer { .state = "sensitive" }));
    EXPECT_EQ(offers[1],
        (ClipboardOffer { .state = "data",
            .types = { "text/html", "text/plain;charset=utf-8" },
            .text = "copied text" }));
    std::ifstream runs(folder / "runs");
    std::string line, all;
    while (std::getline(runs, line))
        all += line + "\n";
    EXPECT_EQ(all.find("--no-newline --type text/plain;charset=utf-8"), all.rfind("--no-newline"))
        << "the contents read once, for the offer that is not sensitive:\n"
        << all;
    EXPECT_TRUE(watcher.isRunning());
}

} // namespace
