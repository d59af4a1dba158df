// The clipboard history's hot paths: one copy added to a full history (with classification), and
// the history written out, encoded alone and saved whole with its fsyncs.
#include "Clipboard/ClipboardCapture.h"
#include "Clipboard/ClipboardHistory.h"
#include "Storage/JSONFileStore.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;

const Date start = std::chrono::sys_days(std::chrono::year(2026) / 11 / 13);

// Copies as people make them: prose, links, commands, code, colours.
std::string copiedText(std::size_t index)
{
    auto number = std::to_string(index);
    switch (index % 5) {
    case 0:
        return "Meeting notes " + number
            + ": move the launch to Thursday and tell the design team.";
    case 1:
        return "https://example.org/issues/" + number + "?tab=comments#latest";
    case 2:
        return "git checkout -b feature/" + number;
    case 3:
        return "for (auto& item : items) {\n    total += item.price * " + number + ";\n}";
    default:
        return "#" + std::string(6 - std::min<std::size_t>(6, number.size()), '0')
            + number.substr(0, 6);
    }
}

ClipboardHistory fullHistory(std::size_t count)
{
    ClipboardHistory history;
    for (std::size_t index = 0; index < count; ++index) {
        auto item
            = *ClipboardCapture::textItem(copiedText(index), start + std::chrono::seconds(index));
        item.sourceApp = "Firefox";
        item.sourceBundleID = "firefox";
        history.add(std::move(item), static_cast<std::int64_t>(count));
    }
    return history;
}

void addToFullHistory(benchmark::State& state)
{
    constexpr std::size_t size = 1000;
    auto history = fullHistory(size);
    // Twice the history's size, so that each text has long fallen out when it comes round again.
    std::vector<std::string> texts;
    for (std::size_t index = 0; index < 2 * size; ++index)
        texts.push_back(copiedText(size + index) + " (new)");
    std::size_t next = 0;
    auto now = start + std::chrono::hours(24);
    for (auto _ : state) {
        now += std::chrono::seconds(1);
        auto item = ClipboardCapture::textItem(texts[next], now);
        benchmark::DoNotOptimize(history.add(std::move(*item), size));
        next = (next + 1) % texts.size();
    }
    state.SetLabel("1,000 entries, text classified, one falls out");
}
BENCHMARK(addToFullHistory)->Unit(benchmark::kMicrosecond);

void encodeHistory(benchmark::State& state)
{
    auto history = fullHistory(1000);
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto text = Json::documentText(toJSON(history));
        bytes = text->size();
        benchmark::DoNotOptimize(text);
    }
    state.SetLabel(std::to_string(bytes) + " bytes");
}
BENCHMARK(encodeHistory)->Unit(benchmark::kMillisecond);

void decodeHistory(benchmark::State& state)
{
    auto text = Json::documentText(toJSON(fullHistory(1000))).value();
    for (auto _ : state) {
        auto history = clipboardHistoryFromJSON(*Json::parse(text));
        benchmark::DoNotOptimize(history);
    }
}
BENCHMARK(decodeHistory)->Unit(benchmark::kMillisecond);

void saveHistory(benchmark::State& state)
{
    auto history = fullHistory(1000);
    auto* base = std::getenv("TMPDIR");
    std::string folder = std::string(base && *base ? base : "/tmp") + "/zeph-bench-XXXXXX";
    if (!mkdtemp(folder.data())) {
        state.SkipWithError("Could not make a temporary folder.");
        return;
    }
    {
        JSONFileStore<ClipboardHistory> store("clipboard.json", folder);
        for (auto _ : state) {
            store.save(history);
            if (store.lastError())
                state.SkipWithError(store.lastError()->message.c_str());
        }
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    state.SetLabel("encode, temporary file, fsync, rename, fsync of the folder");
}
BENCHMARK(saveHistory)->Unit(benchmark::kMillisecond);

} // namespace
