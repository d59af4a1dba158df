#pragma once

#include "Storage/JSONFileStore.h"

#include <string>
#include <vector>

namespace zeph {

// A writer that fails on demand, as a full disk or a yanked drive would, and records what it was
// asked to write. When not failing it hands the bytes to the real atomic writer.
class FakeFileWriter final : public FileWriting {
public:
    std::optional<Error> replaceFile(
        const std::filesystem::path& path, std::string_view bytes) override
    {
        writes.push_back(path);
        if (isFailing)
            return Error { "Could not write " + path.string() + ": No space left on device." };
        return atomicFileWriter().replaceFile(path, bytes);
    }

    bool isFailing = true;
    std::vector<std::filesystem::path> writes;
};

} // namespace zeph
