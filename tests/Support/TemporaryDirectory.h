#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zeph {

// A fresh folder under the temporary folder, removed with everything in it when the object goes;
// tests never touch the real data folder.
class TemporaryDirectory {
public:
    TemporaryDirectory()
    {
        auto* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/zeph-test-XXXXXX";
        if (mkdtemp(pattern.data()))
            m_path = pattern;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory()
    {
        if (m_path.empty())
            return;
        // A test may have taken permissions away; give them back so that everything can go.
        std::error_code error;
        for (auto& entry : std::filesystem::recursive_directory_iterator(m_path, error)) {
            std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                std::filesystem::perm_options::add, error);
        }
        std::filesystem::permissions(
            m_path, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, error);
        std::filesystem::remove_all(m_path, error);
    }

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

// The whole file, or nothing when it cannot be read.
inline std::string readFile(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>() };
}

} // namespace zeph
