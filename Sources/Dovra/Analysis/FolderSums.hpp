#pragma once

#include <cstdint>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The contents of a folder and of all folders below it.
struct FolderSum {
    std::uint64_t bytes = 0;  ///< lengths of all live files
    std::int64_t files = 0;

    bool operator==(const FolderSum&) const = default;
};

/// The sum of each folder, by position. Runs on all processors; linear in the number of entries. More
/// than 2^64 bytes in a folder are fatal. The index's read lock is held.
std::vector<FolderSum> folderSumsLocked(const FileIndex& index);

}  // namespace dovra
