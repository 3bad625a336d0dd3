#include "Analysis/FolderSums.hpp"

#include <algorithm>
#include <atomic>
#include <functional>
#include <optional>
#include <span>

#include "Base/Concurrency.hpp"
#include "Base/PathText.hpp"
#include "Base/Print.hpp"

namespace dovra {

namespace {

constexpr std::size_t entriesPerPiece = 65536;

[[noreturn]] void overflow() {
    fatalError("more than 18446744073709551615 bytes in one folder");
}

void add(FolderSum& sum, const FolderSum& added) {
    if (__builtin_add_overflow(sum.bytes, added.bytes, &sum.bytes)) overflow();
    sum.files += added.files;
}

/// Adds to a folder's own sum, which other threads may be adding to as well.
void addShared(FolderSum& sum, const FolderSum& added) {
    const std::uint64_t before = std::atomic_ref(sum.bytes).fetch_add(added.bytes, std::memory_order_relaxed);
    if (before + added.bytes < before) overflow();
    std::atomic_ref(sum.files).fetch_add(added.files, std::memory_order_relaxed);
}

/// Entries of one folder mostly stand together, so they are summed up before they go to the folder.
void sumPiece(std::span<const FileEntry> entries, std::span<FolderSum> sums) {
    FolderSum run;
    DirIndex folder = entries.front().dirIndex;
    for (const FileEntry& entry : entries) {
        if (entry.dirIndex != folder) {
            addShared(sums[static_cast<std::size_t>(folder)], run);
            run = {};
            folder = entry.dirIndex;
        }
        if (entry.isFolder() || entry.isTombstone()) continue;
        add(run, {entry.size, 1});
    }
    addShared(sums[static_cast<std::size_t>(folder)], run);
}

/// What each folder holds itself, by position.
std::vector<FolderSum> directSums(std::span<const FileEntry> entries, std::size_t folders) {
    std::vector<FolderSum> sums(folders);
    performInPieces(entries.size(), entriesPerPiece, [&](std::size_t first, std::size_t last) {
        sumPiece(entries.subspan(first, last - first), sums);
    });
    return sums;
}

/// The folder that lies around a folder that was interned with its whole path; absent when it is not
/// interned.
std::optional<DirIndex> folderAround(const FolderTable& folders, DirIndex root) {
    const std::string path = folders.path(root);
    if (path == "/" || path.find('/') == std::string::npos) return std::nullopt;
    return folders.find(parentPath(path));
}

/// Adds to each folder what the folders below it hold.
void rollUp(const FolderTable& folders, std::span<FolderSum> sums) {
    const auto sumOf = [&](DirIndex folder) -> FolderSum& { return sums[static_cast<std::size_t>(folder)]; };
    // Backwards, because a parent stands before its children.
    for (auto folder = static_cast<DirIndex>(folders.count()) - 1; folder >= 0; --folder) {
        if (const auto parent = folders.parent(folder)) add(sumOf(*parent), sumOf(folder));
    }
    // A tree that was interned before the folder around it hangs on by its path alone. Inner trees first, so
    // that those around them are complete when they are passed on.
    std::vector<DirIndex> roots = folders.roots();
    std::ranges::sort(roots, std::greater{}, [&](DirIndex root) { return folders.name(root).size(); });
    for (const DirIndex root : roots) {
        const FolderSum tree = sumOf(root);
        for (auto at = folderAround(folders, root); at; at = folders.parent(*at))
            add(sumOf(*at), tree);
    }
}

}  // namespace

std::vector<FolderSum> folderSumsLocked(const FileIndex& index) {
    const FolderTable& folders = index.directoriesLocked();
    std::vector<FolderSum> sums = directSums(index.entriesLocked(), folders.count());
    rollUp(folders, sums);
    return sums;
}

}  // namespace dovra
