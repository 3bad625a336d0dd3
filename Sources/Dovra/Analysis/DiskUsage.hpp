#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// What a folder holds, all folders below it included.
struct DirUsage {
    std::string path;
    std::uint64_t totalBytes = 0;  ///< lengths of all live files; folders themselves count nothing
    std::int64_t fileCount = 0;
    bool operator==(const DirUsage&) const = default;
};

/// The indexed folders at or below `under` (all without it, or with "/") by what they hold, largest first,
/// equals in the order of the index; at most `limit` of them, all when it is below 1. With a slash at its end
/// `under` takes in what lies below it and not itself. Takes the index's read lock for its whole duration and
/// runs on all processors; linear in the number of entries. More than 2^64 bytes in a folder are fatal.
std::vector<DirUsage> directoryUsage(const FileIndex& index, std::optional<std::string_view> under,
                                     std::int64_t limit);

}  // namespace dovra
