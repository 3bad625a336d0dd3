#include "Analysis/DiskUsage.hpp"

#include <algorithm>
#include <numeric>
#include <span>

#include "Analysis/FolderSums.hpp"
#include "Base/PathText.hpp"

namespace dovra {

namespace {

constexpr DirIndex none = -1;

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
void keepLargest(std::vector<DirIndex>& folders, std::int64_t limit, std::span<const FolderSum> sums) {
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
    const std::vector<FolderSum> sums = folderSumsLocked(index);
    auto folders = !under || *under == "/" ? allFolders(table) : foldersUnder(table, *under);
    keepLargest(folders, limit, sums);
    std::vector<DirUsage> rows;
    rows.reserve(folders.size());
    for (const DirIndex folder : folders) {
        const FolderSum& sum = sums[static_cast<std::size_t>(folder)];
        rows.push_back({table.path(folder), sum.bytes, sum.files});
    }
    return rows;
}

}  // namespace dovra
