#include "Analysis/FolderUsage.hpp"

#include <algorithm>
#include <functional>
#include <utility>

#include "Base/PathText.hpp"

namespace dovra {

FolderUsage::Sums FolderUsage::sumsLocked() const {
    const std::uint64_t generation = index_.generation();
    {
        const MutexGuard guard(mutex_);
        if (sums_ && generation_ == generation) return sums_;
    }
    auto sums = std::make_shared<const std::vector<FolderSum>>(folderSumsLocked(index_));
    const MutexGuard guard(mutex_);
    generation_ = generation;
    return sums_ = std::move(sums);
}

std::vector<std::optional<FolderSum>> FolderUsage::sumsOf(std::span<const std::string> paths) const {
    const ReadGuard guard(index_.rwlock);
    const Sums sums = sumsLocked();
    std::vector<std::optional<FolderSum>> found;
    for (const std::string& path : paths) {
        const auto folder = index_.directoriesLocked().find(path);
        found.push_back(folder ? std::optional((*sums)[static_cast<std::size_t>(*folder)]) : std::nullopt);
    }
    return found;
}

std::optional<UsageTree> FolderUsage::tree(std::string_view path, int levels) const {
    const ReadGuard guard(index_.rwlock);
    const auto folder = index_.directoriesLocked().find(path);
    if (!folder) return std::nullopt;
    return treeLocked(*folder, std::string(path), levels, *sumsLocked());
}

UsageTree FolderUsage::treeLocked(DirIndex folder, const std::string& path, int levels,
                                  const std::vector<FolderSum>& sums) const {
    const FolderSum& sum = sums[static_cast<std::size_t>(folder)];
    UsageTree tree{.usage = {path, sum.bytes, sum.files}, .folders = {}};
    if (levels == 0 || !index_.entriesByDirLocked().contains(folder)) return tree;
    index_.entriesByDirLocked().forEach(folder, [&](EntryId id) {
        const FileEntry& entry = index_.entriesLocked()[static_cast<std::size_t>(id)];
        if (entry.isTombstone() || !entry.isFolder()) return;
        const auto contents = index_.contentsOfLocked(entry);
        if (!contents) return;
        const std::string inner = joinPath(path, index_.nameLocked(entry));
        tree.folders.push_back(treeLocked(*contents, inner, levels - 1, sums));
    });
    std::ranges::stable_sort(tree.folders, std::greater{},
                             [](const UsageTree& inner) { return inner.usage.totalBytes; });
    return tree;
}

}  // namespace dovra
