#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// One entry of a result. Texts are raw bytes; whoever shows them to a person repairs them.
struct FileRow {
    EntryId id = 0;
    std::string name;
    std::string path;  ///< of the folder that holds the entry
    std::uint64_t size = 0;
    double modified = 0;  ///< seconds since 1970
    bool isDir = false;
    bool isSymbolicLink = false;
};

/// Builds the rows of the given entries; neighbours in the same folder share the work of its path. The
/// index's read lock is held.
std::vector<FileRow> rowsLocked(const FileIndex& index, std::span<const EntryId> ids);

}  // namespace dovra
