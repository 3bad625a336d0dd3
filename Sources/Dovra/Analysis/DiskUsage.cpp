#include "Analysis/DiskUsage.hpp"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <span>

#include "Base/Concurrency.hpp"
#include "Base/PathText.hpp"
#include "Base/PodVector.hpp"
#include "Base/Print.hpp"

namespace dovra {

namespace {

constexpr std::size_t entriesPerPiece = 65536;
constexpr DirIndex none = -1;

struct Usage {
    std::uint64_t bytes = 0;
    std::int64_t files = 0;

    void add(const Usage& other) {
        if (__builtin_add_overflow(bytes, other.bytes, &bytes)) overflow();
        files += other.files;
    }

    [[noreturn]] static void overflow() { fatalError("more than 18446744073709551615 bytes in one folder"); }
};

/// Adds to a folder's own sum. Other threads may add to it at the same time.
void addShared(Usage& sum, const Usage& added) {
    const std::uint64_t before = std::atomic_ref(sum.bytes).fetch_add(added.bytes, std::memory_order_relaxed);
    if (before + added.bytes < before) Usage::overflow();
    std::atomic_ref(sum.files).fetch_add(added.files, std::memory_order_relaxed);
}

/// Adds each run of entries of one folder up first: entries of a folder mostly stand together.
void sumPiece(std::span<const FileEntry> entries, std::span<Usage> sums) {
    Usage run;
    DirIndex folder = entries.front().dirIndex;
    for (const FileEntry& entry : entries) {
        if (entry.dirIndex != folder) {
            addShared(sums[static_cast<std::size_t>(folder)], run);
            run = {};
            folder = entry.dirIndex;
        }
        if (entry.isFolder() || entry.isTombstone()) continue;
        run.add({entry.size, 1});
    }
    addShared(sums[static_cast<std::size_t>(folder)], run);
}

/// The usage of each folder without the folders below it, by position.
std::vector<Usage> directSums(std::span<const FileEntry> entries, std::size_t folders) {
    std::vector<Usage> sums(folders);
    performInPieces(entries.size(), entriesPerPiece, [&](std::size_t first, std::size_t last) {
        sumPiece(entries.subspan(first, last - first), sums);
    });
    return sums;
}

/// The parent of a folder that was interned with its whole path; absent when it is not interned.
std::optional<DirIndex> folderAround(const FolderTable& folders, DirIndex root) {
    const std::string path = folders.path(root);
    if (path == "/" || path.find('/') == std::string::npos) return std::nullopt;
    return folders.find(parentPath(path));
}

/// Adds the sum of each folder to the folders above it.
void rollUp(const FolderTable& folders, std::span<Usage> sums) {
    const auto sumOf = [&](DirIndex folder) -> Usage& { return sums[static_cast<std::size_t>(folder)]; };
    // Backwards, because a parent stands before its children.
    for (auto folder = static_cast<DirIndex>(folders.count()) - 1; folder >= 0; --folder) {
        if (const auto parent = folders.parent(folder)) sumOf(*parent).add(sumOf(folder));
    }
    // A tree that was interned before its parent folder is linked to it by its path alone. Inner trees come
    // first, so that their sums are complete when they are passed on.
    std::vector<DirIndex> roots = folders.roots();
    std::ranges::sort(roots, std::greater{}, [&](DirIndex root) { return folders.name(root).size(); });
    for (const DirIndex root : roots) {
        const Usage tree = sumOf(root);
        for (auto at = folderAround(folders, root); at; at = folders.parent(*at))
            sumOf(*at).add(tree);
    }
}

/// The folders that `under` selects, ascending.
std::vector<DirIndex> foldersUnder(const FolderTable& folders, std::string_view under) {
    const bool withoutItself = under.ends_with('/');
    const std::string base(under.substr(0, under.size() - (withoutItself ? 1 : 0)));
    const std::string below = base + "/";
    const DirIndex found = folders.find(base).value_or(none);
    const DirIndex top = found != none && joinPath(folders.path(found), "") == below ? found : none;
    std::vector<bool> isBelow(folders.count());
    std::vector<DirIndex> taken;
    for (std::size_t i = 0; i < isBelow.size(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        const auto parent = folders.parent(folder);
        isBelow[i] = parent ? parent == top || isBelow[static_cast<std::size_t>(*parent)]
                            : folders.path(folder).starts_with(below);
        if (isBelow[i] || (folder == top && !withoutItself)) taken.push_back(folder);
    }
    return taken;
}

std::vector<DirIndex> allFolders(const FolderTable& folders) {
    std::vector<DirIndex> all(folders.count());
    std::iota(all.begin(), all.end(), 0);
    return all;
}

/// Keeps the first `limit` folders (all, when it is below 1), largest first.
void keepLargest(std::vector<DirIndex>& folders, std::int64_t limit, std::span<const Usage> sums) {
    const std::int64_t kept = limit < 1 ? std::ssize(folders) : std::min(limit, std::ssize(folders));
    std::ranges::partial_sort(folders, folders.begin() + kept, [&](DirIndex a, DirIndex b) {
        const std::uint64_t bytesOfA = sums[static_cast<std::size_t>(a)].bytes;
        const std::uint64_t bytesOfB = sums[static_cast<std::size_t>(b)].bytes;
        return bytesOfA != bytesOfB ? bytesOfA > bytesOfB : a < b;
    });
    folders.resize(static_cast<std::size_t>(kept));
}

}  // namespace

std::vector<DirUsage> directoryUsage(const FileIndex& index, std::optional<std::string_view> under,
                                     std::int64_t limit) {
    const ReadGuard guard(index.rwlock);
    const FolderTable& table = index.directoriesLocked();
    std::vector<Usage> sums = directSums(index.entriesLocked(), table.count());
    rollUp(table, sums);
    auto folders = !under || *under == "/" ? allFolders(table) : foldersUnder(table, *under);
    keepLargest(folders, limit, sums);
    std::vector<DirUsage> rows;
    rows.reserve(folders.size());
    for (const DirIndex folder : folders) {
        const Usage& usage = sums[static_cast<std::size_t>(folder)];
        rows.push_back({table.path(folder), usage.bytes, usage.files});
    }
    return rows;
}

}  // namespace dovra
