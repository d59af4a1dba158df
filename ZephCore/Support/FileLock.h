#pragma once

#include "Support/Result.h"

#include <filesystem>

namespace zeph {

// An exclusive advisory lock (flock) on a file, held until the object is destroyed. Processes that
// share the data folder take it around every read-change-write of a document.
class FileLock {
public:
    // Creates the file if needed and blocks until the lock is ours.
    static Result<FileLock> acquire(const std::filesystem::path& path);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

private:
    explicit FileLock(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    int m_descriptor = -1;
};

} // namespace zeph
