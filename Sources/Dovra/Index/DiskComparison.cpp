#include "Index/DiskComparison.hpp"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "Base/Concurrency.hpp"
#include "Index/FolderMerge.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop) {
    using Stage = DiskComparison::Stage;
    DiskComparison comparison(Stage::stamps);
    ChangeBatch changed;
    while (!stop.stop_requested()) {
        DiskComparison::Reading reading{.piece = comparison.next(index), .sights = {}};
        if (reading.piece.stage != Stage::stamps) break;
        reading.sights.resize(reading.piece.folders.size());
        concurrentPerform(reading.sights.size(), [&](std::size_t i) {
            reading.sights[i] = DiskComparison::look(reading.piece.folders[i], Stage::stamps);
        });
        ChangeBatch found = comparison.compare(index, reading);
        std::ranges::move(found.paths, std::back_inserter(changed.paths));
        std::ranges::move(found.subtrees, std::back_inserter(changed.subtrees));
    }
    return changed;
}

namespace {

/// Folders of one piece. Even if all of them differ, other changes do not wait for long.
constexpr std::size_t foldersAtOnce = 256;

/// Whether the index differs from this sight of the folder. It may have forgotten the folder meanwhile.
bool differs(const FileIndex& index, DirIndex folder, const DiskComparison::Sight& sight) {
    const ReadGuard guard(index.rwlock);
    if (!index.entriesByDirLocked().contains(folder)) return false;
    if (const auto* listing = std::get_if<FolderListing>(&sight))
        return differsFromListingLocked(index, folder, *listing);
    const FolderStamp known = index.stampLocked(folder);
    const auto* now = std::get_if<FolderStamp>(&sight);
    // Not "younger than": a folder restored from a backup is older.
    return now != nullptr && (!known.isKnown() || *now != known);
}

/// Absent for a folder without a list, and for one below a folder that is too deep.
std::optional<DiskComparison::Folder> listedFolderLocked(const FileIndex& index, DirIndex folder) {
    const FolderTable& folders = index.directoriesLocked();
    const auto isTooDeep = [&](DirIndex each) { return folders.pathBytes(each) > maxPathBytes; };
    if (!index.entriesByDirLocked().contains(folder)) return std::nullopt;
    if (!isTooDeep(folder)) return DiskComparison::Folder{folder, folders.path(folder)};
    const auto parent = folders.parent(folder);
    if (parent && isTooDeep(*parent)) return std::nullopt;
    return DiskComparison::Folder{folder, folders.path(parent.value_or(folder)), true};
}

}  // namespace

DiskComparison::Piece DiskComparison::next(const FileIndex& index) {
    Piece piece{.stage = stage_, .folders = nextFolders(index)};
    if (!piece.folders.empty() || stage_ == Stage::entries) return piece;
    stage_ = Stage::entries;
    position_ = 0;
    return {.stage = stage_, .folders = nextFolders(index)};
}

DiskComparison::Reading DiskComparison::read(Piece piece, std::chrono::steady_clock::duration budget,
                                             const std::stop_token& stop) {
    const auto end = std::chrono::steady_clock::now() + budget;
    Reading reading{.piece = std::move(piece), .sights = {}};
    for (const Folder& folder : reading.piece.folders) {
        if (stop.stop_requested()) break;
        reading.sights.push_back(look(folder, reading.piece.stage, stop));
        if (std::chrono::steady_clock::now() >= end) break;
    }
    return reading;
}

DiskComparison::Sight DiskComparison::look(const Folder& folder, Stage stage, const std::stop_token& stop) {
    if (folder.isTooDeep) return {};
    if (stage == Stage::stamps) return folderStamp(folder.path);
    const auto open = OpenFolder::open(folder.path);
    FolderListing listing;
    if (!open || !open->list(ListingDetail::attributes, listing, stop)) return {};
    return listing;
}

ChangeBatch DiskComparison::compare(const FileIndex& index, const Reading& reading) {
    const std::vector<Folder>& folders = reading.piece.folders;
    ChangeBatch found;
    for (std::size_t i = 0; i < reading.sights.size(); ++i) {
        if (folders[i].isTooDeep && reading.piece.stage == first_) found.subtrees.push_back(folders[i].path);
        if (differs(index, folders[i].position, reading.sights[i])) found.paths.push_back(folders[i].path);
    }
    if (reading.sights.size() < folders.size())
        position_ = static_cast<std::size_t>(folders[reading.sights.size()].position);
    return found;
}

std::vector<DiskComparison::Folder> DiskComparison::nextFolders(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<Folder> folders;
    for (; folders.size() < foldersAtOnce && position_ < index.directoriesLocked().count(); ++position_) {
        if (auto folder = listedFolderLocked(index, static_cast<DirIndex>(position_)))
            folders.push_back(*std::move(folder));
    }
    return folders;
}

}  // namespace dovra
