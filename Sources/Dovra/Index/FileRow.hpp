#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// One entry of a result. Texts are raw bytes, to be repaired before they are shown.
struct FileRow {
    EntryId id = 0;
    std::string name;
    std::string path;  ///< of the folder that holds the entry
    std::uint64_t size = 0;
    double modified = 0;  ///< seconds since 1970
    bool isDir = false;
    bool isSymbolicLink = false;
};

/// Builds the rows of the given entries; neighbours in one folder share the building of its path. The caller
/// holds the index's read lock.
std::vector<FileRow> rowsLocked(const FileIndex& index, std::span<const EntryId> ids);

}  // namespace dovra
