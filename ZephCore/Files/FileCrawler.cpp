#include "Files/FileCrawler.h"

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace zeph {

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

} // namespace

bool FileCrawler::isLeftOut(std::string_view name, bool isFolder)
{
    return name.starts_with('.') || name.ends_with(".app")
        || (!isFolder && name.ends_with(".desktop"));
}

FileCrawler::FileCrawler(Exclusion isExcluded, Visit visit, Enter enter)
    : m_isExcluded(std::move(isExcluded))
    , m_visit(std::move(visit))
    , m_enter(std::move(enter))
{
}

std::size_t FileCrawler::crawl(const std::vector<std::string>& scopes)
{
    m_folders = 0;
    for (auto& scope : scopes) {
        struct stat status { };
        if (lstat(scope.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || m_isExcluded(scope))
            continue;
        std::string folder = scope;
        while (folder.size() > 1 && folder.ends_with('/'))
            folder.pop_back();
        if (folder == "/")
            folder.clear();
        walk(folder, status.st_dev);
    }
    return m_folders;
}

void FileCrawler::walk(std::string& folder, std::uint64_t device)
{
    std::unique_ptr<DIR, DirectoryCloser> directory(opendir(folder.empty() ? "/" : folder.c_str()));
    if (!directory)
        return;
    ++m_folders;
    if (m_enter)
        m_enter(folder.empty() ? std::string("/") : folder);
    int descriptor = dirfd(directory.get());
    std::vector<std::string> subfolders;
    while (auto* entry = readdir(directory.get())) {
        std::string_view name = entry->d_name;
        if (name == "." || name == ".." || name.starts_with('.'))
            continue;
        struct stat status { };
        if (fstatat(descriptor, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        bool isFolder = S_ISDIR(status.st_mode);
        if (isLeftOut(name, isFolder))
            continue;
        auto length = folder.size();
        folder += '/';
        folder += name;
        bool isExcluded = m_isExcluded(folder);
        folder.resize(length);
        if (isExcluded)
            continue;
        m_visit({ folder, name, isFolder, static_cast<std::int64_t>(status.st_mtime) });
        // Another file system's mount point is its own scope, or none.
        if (isFolder && status.st_dev == device)
            subfolders.emplace_back(name);
    }
    directory.reset();
    for (auto& name : subfolders) {
        auto length = folder.size();
        folder += '/';
        folder += name;
        walk(folder, device);
        folder.resize(length);
    }
}

} // namespace zeph
