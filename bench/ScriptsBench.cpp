// The cost of running a script: a trivial bash script through the script runner, beside a bare
// posix_spawn and waitpid of the same interpreter, so that what remains is the runner's own work
// (the environment, the pipes, polling, the process descriptor). And reading a script filter's
// output of 500 rows, which the launcher does on every keystroke in a filter.
#include "Workflows/ProcessScriptRunner.h"
#include "Workflows/ScriptFilterOutput.h"

#include <algorithm>
#include <chrono>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <vector>

#include <benchmark/benchmark.h>

extern char** environ;

namespace {

using namespace zeph;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::string trivialScript = "exit 0";

void spawnBashDirectly()
{
    std::vector<char*> argv { const_cast<char*>("/bin/bash"), const_cast<char*>("-c"),
        const_cast<char*>(trivialScript.c_str()), nullptr };
    pid_t child = 0;
    if (posix_spawn(&child, "/bin/bash", nullptr, nullptr, argv.data(), environ) == 0)
        waitpid(child, nullptr, 0);
}

ScriptResult runBash()
{
    return ProcessScriptRunner().run(ScriptLanguage::bash, trivialScript, "", {}, 30s);
}

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

double median(std::vector<double> samples)
{
    auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

// Both, alternating in one loop so that the load of the machine falls on both alike; the counters
// are the medians and their difference.
void bashStartToExit(benchmark::State& state)
{
    std::vector<double> direct;
    std::vector<double> runner;
    for (auto _ : state) {
        auto start = Clock::now();
        spawnBashDirectly();
        auto middle = Clock::now();
        benchmark::DoNotOptimize(runBash());
        auto end = Clock::now();
        direct.push_back(milliseconds(middle - start));
        runner.push_back(milliseconds(end - middle));
    }
    auto directMedian = median(direct);
    auto runnerMedian = median(runner);
    state.counters["spawn_ms"] = directMedian;
    state.counters["runner_ms"] = runnerMedian;
    state.counters["overhead_ms"] = runnerMedian - directMedian;
    state.counters["ratio"] = runnerMedian / directMedian;
}
BENCHMARK(bashStartToExit)->Unit(benchmark::kMillisecond)->MinTime(3.0)->UseRealTime();

// 500 rows as the Downloads example prints them: title, subtitle, argument and a file icon.
std::string fiveHundredFileRows()
{
    std::string text = R"({"items": [)";
    for (int index = 0; index < 500; ++index) {
        auto name = "quarterly-report-" + std::to_string(index) + ".pdf";
        auto path = "/home/user/Downloads/" + name;
        text += (index ? ",\n" : "\n");
        text += R"({"title": ")" + name + R"(", "subtitle": ")" + path + R"(", "arg": ")" + path
            + R"(", "icon": {"type": "fileicon", "path": ")" + path + R"("}})";
    }
    return text + "]}";
}

// 500 rows with every common field besides: a uid, completion, variables and a modifier.
std::string fiveHundredFullRows()
{
    std::string text = R"({"rerun": 1.0, "variables": {"source": "bench"}, "items": [)";
    for (int index = 0; index < 500; ++index) {
        auto number = std::to_string(index);
        auto path = "/home/user/Documents/reports/2026/quarterly-report-" + number + ".pdf";
        text += (index ? ",\n" : "\n");
        text += R"({"uid": "row-)" + number + R"(", "title": "Quarterly report )" + number
            + R"(", "subtitle": ")" + path + R"(", "arg": ")" + path
            + R"(", "autocomplete": "report )" + number
            + R"(", "icon": {"type": "fileicon", "path": ")" + path
            + R"("}, "variables": {"index": ")" + number
            + R"("}, "mods": {"cmd": {"arg": "/home/user/Documents/reports/2026", "subtitle": "Reveal"}}})";
    }
    return text + "]}";
}

void parse(benchmark::State& state, const std::string& text)
{
    for (auto _ : state) {
        auto output = ScriptFilterOutput::parse(text);
        benchmark::DoNotOptimize(output);
    }
    state.SetLabel(std::to_string(text.size() / 1024) + " KB");
}

void parseFiveHundredFileRows(benchmark::State& state)
{
    parse(state, fiveHundredFileRows());
}
BENCHMARK(parseFiveHundredFileRows)->Unit(benchmark::kMillisecond);

void parseFiveHundredFullRows(benchmark::State& state)
{
    parse(state, fiveHundredFullRows());
}
BENCHMARK(parseFiveHundredFullRows)->Unit(benchmark::kMillisecond);

} // namespace
