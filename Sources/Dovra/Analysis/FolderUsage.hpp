#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Analysis/DiskUsage.hpp"
#include "Analysis/FolderSums.hpp"
#include "Base/Locks.hpp"

namespace dovra {

/// A folder and those right in it, largest first.
struct UsageTree {
    DirUsage usage;
    std::vector<UsageTree> folders;
};

/// Answers questions about single folders. It keeps the sums until the index changes, so only the first
/// question after a change costs a pass over all entries. Any thread. Each question takes the index's read
/// lock.
class FolderUsage {
public:
    explicit FolderUsage(const FileIndex& index) : index_(index) {}

    /// In the order of the paths; absent for one that is no listed folder.
    std::vector<std::optional<FolderSum>> sumsOf(std::span<const std::string> paths) const;

    /// The folder at `path`, so many levels deep, without those that were never listed; absent when there is
    /// no such folder.
    std::optional<UsageTree> tree(std::string_view path, int levels) const;

private:
    using Sums = std::shared_ptr<const std::vector<FolderSum>>;

    Sums sumsLocked() const;
    UsageTree treeLocked(DirIndex folder, const std::string& path, int levels,
                         const std::vector<FolderSum>& sums) const;

    const FileIndex& index_;
    mutable Mutex mutex_;
    mutable Sums sums_ DOVRA_GUARDED_BY(mutex_);
    mutable std::uint64_t generation_ DOVRA_GUARDED_BY(mutex_) = 0;
};

}  // namespace dovra
