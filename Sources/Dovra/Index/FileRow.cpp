#include "Index/FileRow.hpp"

#include "Index/FolderTable.hpp"

namespace dovra {

std::vector<FileRow> rowsLocked(const FileIndex& index, std::span<const EntryId> ids) {
    FolderPaths paths(index.directoriesLocked());
    std::vector<FileRow> rows;
    rows.reserve(ids.size());
    for (const EntryId id : ids) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        rows.push_back({.id = id,
                        .name = std::string(index.nameLocked(entry)),
                        .path = std::string(paths.of(entry.dirIndex)),
                        .size = entry.size,
                        .modified = entry.modTime,
                        .isDir = entry.isFolder(),
                        .isSymbolicLink = entry.isSymbolicLink()});
    }
    return rows;
}

}  // namespace dovra
