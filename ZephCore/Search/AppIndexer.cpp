#include "Search/AppIndexer.h"

#include "Search/DesktopEntry.h"
#include "Search/Ranker.h"
#include "Storage/AppSettings.h"
#include "Support/GLib.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <set>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace zeph {

namespace fs = std::filesystem;

namespace {

constexpr auto rescanDelay = std::chrono::milliseconds(1500);
// No real desktop entry comes near this; a larger file is no entry.
constexpr std::uintmax_t largestEntry = 1 << 20;

std::optional<std::string> readSmallFile(const fs::path& path)
{
    std::error_code error;
    auto size = fs::file_size(path, error);
    if (error || size > largestEntry)
        return std::nullopt;
    std::ifstream stream(path, std::ios::binary);
    std::string text(size, '\0');
    if (!stream.read(text.data(), static_cast<std::streamsize>(size)))
        return std::nullopt;
    return text;
}

bool isInstalled(const std::string& program)
{
    // Without GLib there is no telling, and an application hidden wrongly is worse.
    const auto* glib = GLib::shared();
    if (program.empty() || !glib)
        return true;
    auto* found = glib->findProgramInPath(program.c_str());
    glib->free(found);
    return found != nullptr;
}

void sortByTitle(std::vector<SearchItem>& items)
{
    std::sort(items.begin(), items.end(), [](const SearchItem& a, const SearchItem& b) {
        if (int order = Ranker::compareLowercased(a.title, b.title))
            return order < 0;
        return a.id < b.id;
    });
}

SearchItem makeItem(const DesktopEntry& entry, const std::string& path, const std::string& id)
{
    SearchItem item {
        .id = path,
        .title = entry.name,
        .subtitle = entry.genericName,
        .kind = entry.isSettingsPanel() ? ItemKind::systemSetting : ItemKind::application,
        .path = path,
        .argument = id,
        .keywords = entry.keywords,
    };
    // "browser" should find a browser whose keywords forgot the word.
    if (!entry.genericName.empty()
        && std::find(item.keywords.begin(), item.keywords.end(), entry.genericName)
            == item.keywords.end())
        item.keywords.push_back(entry.genericName);
    if (!entry.icon.empty())
        item.symbolName = entry.icon;
    return item;
}

// The folders below `folder`, itself included, for watching.
std::vector<fs::path> foldersUnder(const fs::path& folder)
{
    std::vector<fs::path> folders;
    std::error_code error;
    if (!fs::is_directory(folder, error))
        return folders;
    folders.push_back(folder);
    for (fs::recursive_directory_iterator
             walk(folder, fs::directory_options::skip_permission_denied, error),
         end;
         !error && walk != end; walk.increment(error)) {
        if (walk->is_directory(error))
            folders.push_back(walk->path());
    }
    return folders;
}

} // namespace

ApplicationIndex AppIndexer::scan(const std::vector<std::string>& folders)
{
    ApplicationIndex index;
    auto desktops = currentDesktops();
    std::set<std::string, std::less<>> seen;
    for (auto& folder : folders) {
        fs::path root = expandingTilde(folder);
        std::vector<std::pair<std::string, fs::path>> files;
        std::error_code error;
        for (fs::recursive_directory_iterator
                 walk(root, fs::directory_options::skip_permission_denied, error),
             end;
             !error && walk != end; walk.increment(error)) {
            auto& path = walk->path();
            if (path.extension() != ".desktop" || !walk->is_regular_file(error))
                continue;
            auto id = path.lexically_relative(root).string();
            std::replace(id.begin(), id.end(), '/', '-');
            files.emplace_back(std::move(id), path);
        }
        // Directory order is arbitrary; the same tree must give the same index.
        std::sort(files.begin(), files.end());
        for (auto& [id, path] : files) {
            if (seen.contains(id))
                continue;
            auto text = readSmallFile(path);
            auto entry = text ? DesktopEntry::read(*text) : std::nullopt;
            if (!entry)
                continue; // A broken entry lets a sound one of lower precedence through.
            seen.insert(id);
            if (entry->hidden || !isInstalled(entry->tryExec) || !entry->isShownIn(desktops))
                continue;
            if (entry->isSettingsPanel())
                index.systemSettings.push_back(makeItem(*entry, path.string(), id));
            else if (!entry->noDisplay)
                index.applications.push_back(makeItem(*entry, path.string(), id));
        }
    }
    sortByTitle(index.applications);
    sortByTitle(index.systemSettings);
    return index;
}

AppIndexer::AppIndexer(std::function<void(ApplicationIndex)> onUpdate)
    : m_onUpdate(std::move(onUpdate))
    , m_wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_thread([this](std::stop_token stop) { run(stop); })
{
}

AppIndexer::~AppIndexer()
{
    m_thread.request_stop();
    wake();
    m_thread.join();
    if (m_wakeDescriptor >= 0)
        close(m_wakeDescriptor);
}

void AppIndexer::setFolders(std::vector<std::string> folders)
{
    {
        std::lock_guard lock(m_mutex);
        m_folders = std::move(folders);
        m_isScanRequested = true;
    }
    wake();
}

void AppIndexer::rescan()
{
    {
        std::lock_guard lock(m_mutex);
        m_isScanRequested = true;
    }
    wake();
}

void AppIndexer::wake()
{
    std::uint64_t one = 1;
    if (m_wakeDescriptor >= 0)
        (void)!write(m_wakeDescriptor, &one, sizeof one);
}

void AppIndexer::run(std::stop_token stop)
{
    using Clock = std::chrono::steady_clock;
    int watches = -1;
    // When a change asks for a rescan; never while nothing changed.
    constexpr auto never = Clock::time_point::max();
    auto rescanAt = never;
    std::vector<std::string> folders;
    while (!stop.stop_requested()) {
        bool isDue = Clock::now() >= rescanAt;
        {
            std::lock_guard lock(m_mutex);
            if (m_isScanRequested) {
                folders = m_folders;
                m_isScanRequested = false;
                isDue = true;
            }
        }
        if (isDue) {
            rescanAt = never;
            // New watches each time, so that folders made since are watched too.
            if (watches >= 0)
                close(watches);
            watches = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
            for (auto& folder : folders) {
                for (auto& path : foldersUnder(expandingTilde(folder))) {
                    inotify_add_watch(watches, path.c_str(),
                        IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE
                            | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF);
                }
            }
            m_onUpdate(scan(folders));
            continue;
        }

        pollfd descriptors[2] = { { m_wakeDescriptor, POLLIN, 0 }, { watches, POLLIN, 0 } };
        int timeout = -1;
        if (rescanAt != never) {
            auto left = std::chrono::ceil<std::chrono::milliseconds>(rescanAt - Clock::now());
            timeout = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
        }
        if (poll(descriptors, watches >= 0 ? 2 : 1, timeout) <= 0)
            continue;
        char buffer[4096];
        if (descriptors[0].revents & POLLIN)
            (void)!read(m_wakeDescriptor, buffer, sizeof(std::uint64_t));
        if (watches >= 0 && (descriptors[1].revents & POLLIN)) {
            while (read(watches, buffer, sizeof buffer) > 0) { }
            if (rescanAt == never)
                rescanAt = Clock::now() + rescanDelay;
        }
    }
    if (watches >= 0)
        close(watches);
}

} // namespace zeph
