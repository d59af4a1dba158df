// Loading the workflows as the application does on start and on every change an agent makes: the
// text of "workflows.json" parsed and decoded, and each workflow validated against all of them, as
// the settings show their problems.
#include "GeneratedWorkflows.h"
#include "Support/Allocator.h"
#include "Workflows/WorkflowLibrary.h"

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

// The allocator as the application and zeph-mcp set it.
const bool allocatorIsTuned = (zeph::tuneAllocatorForDocuments(), true);

using namespace zeph;
using Bench::documentOf;

using Coding = DocumentCoding<std::vector<Workflow>>;

void decodeAndValidate(benchmark::State& state)
{
    auto text = documentOf(200);
    std::size_t problems = 0;
    for (auto _ : state) {
        auto workflows = **Coding::decodeText(text);
        problems = 0;
        for (auto& workflow : workflows)
            problems += WorkflowLibrary::validate(workflow, workflows).size();
        benchmark::DoNotOptimize(problems);
    }
    state.SetLabel("200 workflows of 20 nodes, " + std::to_string(text.size() / 1024) + " KB, "
        + std::to_string(problems) + " problems");
}
BENCHMARK(decodeAndValidate)->Unit(benchmark::kMillisecond);

void decodeOnly(benchmark::State& state)
{
    auto text = documentOf(200);
    for (auto _ : state)
        benchmark::DoNotOptimize(Coding::decodeText(text));
}
BENCHMARK(decodeOnly)->Unit(benchmark::kMillisecond);

// The same through one tree of the whole document, as other documents are read.
void decodeThroughTree(benchmark::State& state)
{
    auto text = documentOf(200);
    for (auto _ : state)
        benchmark::DoNotOptimize(Coding::decode(*Json::parse(text)));
}
BENCHMARK(decodeThroughTree)->Unit(benchmark::kMillisecond);

void validateAll(benchmark::State& state)
{
    auto text = documentOf(200);
    auto workflows = *Coding::decode(*Json::parse(text));
    for (auto _ : state) {
        for (auto& workflow : workflows)
            benchmark::DoNotOptimize(WorkflowLibrary::validate(workflow, workflows));
    }
}
BENCHMARK(validateAll)->Unit(benchmark::kMillisecond);

} // namespace
