#include "Index/DiskComparison.hpp"

#include <utility>

#include "Index/FolderMerge.hpp"
#include "Index/FolderReplay.hpp"

namespace dovra {

namespace {

/// Bounds the memory of a piece's paths; its listings are bounded by the time for reading them.
constexpr std::size_t foldersAtOnce = 1024;

DiskComparison::Sight look(const ListedFolder& folder, DiskComparison::Stage stage) {
    if (folder.isTooDeep) return {};
    if (stage == DiskComparison::Stage::stamps) return folderStamp(folder.path);
    const auto open = OpenFolder::open(folder.path);
    DirectoryListing listing;
    if (!open || !open->list(ListingDetail::attributes, listing)) return {};
    return listing;
}

/// Whether the index holds something else now. It may have forgotten the folder meanwhile.
bool differs(const FileIndex& index, DirIndex folder, const DiskComparison::Sight& sight) {
    const ReadGuard guard(index.rwlock);
    if (!index.entriesByDirLocked().contains(folder)) return false;
    if (const auto* listing = std::get_if<DirectoryListing>(&sight))
        return differsFromListingLocked(index, folder, *listing);
    const auto* stamp = std::get_if<FolderStamp>(&sight);
    return stamp != nullptr && stamp->isKnown() && hasChanged(index.stampLocked(folder), *stamp);
}

}  // namespace

DiskComparison::Piece DiskComparison::next(const FileIndex& index) {
    Piece piece{.stage = stage_, .folders = folders_.next(index, foldersAtOnce)};
    if (!piece.folders.empty() || stage_ == Stage::entries) return piece;
    stage_ = Stage::entries;
    folders_ = ListedFolders();
    return next(index);
}

DiskComparison::Reading DiskComparison::read(Piece piece, std::chrono::steady_clock::duration budget,
                                             const std::stop_token& stop) {
    const auto end = std::chrono::steady_clock::now() + budget;
    Reading reading{.piece = std::move(piece), .sights = {}};
    for (const ListedFolder& folder : reading.piece.folders) {
        if (stop.stop_requested()) break;
        reading.sights.push_back(look(folder, reading.piece.stage));
        if (std::chrono::steady_clock::now() >= end) break;
    }
    return reading;
}

ChangeBatch DiskComparison::compare(const FileIndex& index, const Reading& reading) {
    const std::vector<ListedFolder>& folders = reading.piece.folders;
    ChangeBatch found;
    for (std::size_t i = 0; i < reading.sights.size(); ++i) {
        // Once in a round.
        if (folders[i].isTooDeep && reading.piece.stage == Stage::entries)
            found.subtrees.push_back(folders[i].path);
        if (differs(index, folders[i].position, reading.sights[i])) found.paths.push_back(folders[i].path);
    }
    if (reading.sights.size() < folders.size()) folders_.goBackTo(folders[reading.sights.size()].position);
    return found;
}

}  // namespace dovra
