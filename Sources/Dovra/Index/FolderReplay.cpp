#include "Index/FolderReplay.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "Base/ConcurrentPerform.hpp"
#include "Index/ListedFolders.hpp"

namespace dovra {

namespace {

/// Folders that are taken from the index at a time, and those of them that one thread takes.
constexpr std::size_t foldersAtOnce = 8192;
constexpr std::size_t foldersPerPiece = 256;

std::vector<FolderStamp> stampsNow(const std::vector<ListedFolder>& folders, const std::stop_token& stop) {
    std::vector<FolderStamp> stamps(folders.size());
    concurrentPerform((folders.size() + foldersPerPiece - 1) / foldersPerPiece, [&](std::size_t piece) {
        const std::size_t end = std::min((piece + 1) * foldersPerPiece, folders.size());
        for (std::size_t i = piece * foldersPerPiece; i < end && !stop.stop_requested(); ++i) {
            if (!folders[i].isTooDeep) stamps[i] = folderStamp(folders[i].path);
        }
    });
    return stamps;
}

}  // namespace

ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop) {
    ListedFolders folders;
    ChangeBatch changed;
    for (auto some = folders.next(index, foldersAtOnce); !some.empty();
         some = folders.next(index, foldersAtOnce)) {
        const std::vector<FolderStamp> now = stampsNow(some, stop);
        if (stop.stop_requested()) break;
        const ReadGuard guard(index.rwlock);
        for (std::size_t i = 0; i < some.size(); ++i) {
            if (some[i].isTooDeep) {
                changed.subtrees.push_back(std::move(some[i].path));
            } else if (hasChanged(index.stampLocked(some[i].position), now[i])) {
                changed.paths.push_back(std::move(some[i].path));
            }
        }
    }
    return changed;
}

}  // namespace dovra
