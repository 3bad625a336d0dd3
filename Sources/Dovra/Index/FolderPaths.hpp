#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include "Index/DirectoryTable.hpp"

namespace dovra {

/// Builds folder paths and keeps them, for results whose folders come again and again in no order. Paths of
/// extraordinary length are built each time: a very deep tree has too many of them to be kept. For one
/// thread; the lock that guards the table is held for its lifetime.
class FolderPaths {
public:
    explicit FolderPaths(const DirectoryTable& directories) : directories_(directories) {}

    /// Valid until the next call.
    std::string_view of(DirIndex folder) {
        if (folder == last_) return lastPath_;
        last_ = folder;
        if (directories_.pathBytes(folder) > longestKept)
            return lastPath_ = long_ = directories_.path(folder);
        const auto [kept, isNew] = paths_.try_emplace(folder);
        if (isNew) kept->second = directories_.path(folder);
        return lastPath_ = kept->second;
    }

private:
    static constexpr std::size_t longestKept = 4096;

    const DirectoryTable& directories_;
    std::unordered_map<DirIndex, std::string> paths_;
    std::string long_;
    DirIndex last_ = -1;
    std::string_view lastPath_;
};

}  // namespace dovra
