// Replays fuzz inputs without libFuzzer: each argument is a file or a folder of files.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    std::size_t replayed = 0;
    auto replay = [&](const std::filesystem::path& path) {
        std::ifstream stream(path, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++replayed;
    };
    for (int index = 1; index < argc; ++index) {
        std::filesystem::path path(argv[index]);
        if (std::filesystem::is_directory(path)) {
            for (auto& entry : std::filesystem::recursive_directory_iterator(path)) {
                if (entry.is_regular_file())
                    replay(entry.path());
            }
        } else {
            replay(path);
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    return 0;
}
