// The file index's own work per entry, on the names of the shared 100k-path corpus: the words a
// name is kept under and its content types by name.
#include "Files/ContentTypes.h"
#include "Files/IndexWords.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>

#include <benchmark/benchmark.h>

namespace {

using namespace zeph;

std::vector<std::string> names()
{
    auto* folder = std::getenv("ZEPH_BENCH_CORPUS");
    std::ifstream stream(std::string(folder ? folder : ZEPH_BENCH_CORPUS) + "/paths-100k.txt");
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        auto slash = line.rfind('/');
        if (slash + 1 < line.size())
            result.push_back(line.substr(slash + 1));
    }
    return result;
}

void indexWordsOfAName(benchmark::State& state)
{
    auto all = names();
    std::size_t next = 0;
    std::string words;
    for (auto _ : state) {
        words.clear();
        appendIndexWords(all[next++ % all.size()], words);
        benchmark::DoNotOptimize(words);
    }
}
BENCHMARK(indexWordsOfAName);

void contentTypesOfAName(benchmark::State& state)
{
    auto all = names();
    ContentTypes types;
    struct stat status { };
    status.st_mode = S_IFREG;
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(types.ofEntry(AT_FDCWD, all[next++ % all.size()].c_str(), status));
}
BENCHMARK(contentTypesOfAName);

} // namespace
