#include "Index/FolderReplay.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <utility>

#include "Base/ConcurrentPerform.hpp"
#include "Platform/FolderStamp.hpp"

namespace dovra {

namespace {

/// Folders that one thread takes at a time.
constexpr std::size_t foldersPerPiece = 256;

bool isChanged(const FileIndex& index, DirIndex folder, const std::string& path) {
    const FolderStamp known = index.stampLocked(folder);
    // Not "younger than": what was restored from a backup is older.
    return !known.isKnown() || folderStamp(path) != known;
}

}  // namespace

ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop) {
    const ReadGuard guard(index.rwlock);
    const DirectoryTable& directories = index.directoriesLocked();
    const EntryLists& lists = index.entriesByDirLocked();
    std::vector<std::string> changed;
    std::mutex mutex;
    concurrentPerform((directories.count() + foldersPerPiece - 1) / foldersPerPiece, [&](std::size_t piece) {
        std::vector<std::string> found;
        const std::size_t end = std::min((piece + 1) * foldersPerPiece, directories.count());
        for (std::size_t i = piece * foldersPerPiece; i < end && !stop.stop_requested(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            if (!lists.contains(folder)) continue;
            std::string path = directories.path(folder);
            if (isChanged(index, folder, path)) found.push_back(std::move(path));
        }
        const std::scoped_lock lock(mutex);
        std::ranges::move(found, std::back_inserter(changed));
    });
    return {.paths = std::move(changed)};
}

std::vector<std::string> listedFolders(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < index.directoriesLocked().count(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        if (index.entriesByDirLocked().contains(folder))
            paths.push_back(index.directoriesLocked().path(folder));
    }
    return paths;
}

}  // namespace dovra
