#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The usage of a folder, including all folders below it.
struct DirUsage {
    std::string path;
    std::uint64_t totalBytes = 0;  ///< lengths of all live files; folders count nothing
    std::int64_t fileCount = 0;
    bool operator==(const DirUsage&) const = default;
};

/// The indexed folders at or below `under` (all without it, or with "/") by usage, largest first, equals in
/// the order of the index; at most `limit` of them, all when it is below 1. A slash at the end of `under`
/// leaves out that folder itself. Holds the index's read lock throughout and runs on all processors; linear
/// in the number of entries. More than 2^64 bytes in a folder are fatal.
std::vector<DirUsage> directoryUsage(const FileIndex& index, std::optional<std::string_view> under,
                                     std::int64_t limit);

}  // namespace dovra
