#include "Index/FileRow.hpp"

namespace dovra {

std::vector<FileRow> rowsLocked(const FileIndex& index, std::span<const EntryId> ids) {
    std::vector<FileRow> rows;
    rows.reserve(ids.size());
    DirIndex folder = -1;
    for (const EntryId id : ids) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        FileRow row{.id = id, .name = std::string(index.nameLocked(entry)), .path = {}};
        row.path =
            entry.dirIndex == folder ? rows.back().path : index.directoriesLocked().path(entry.dirIndex);
        row.size = entry.size;
        row.modified = entry.modTime;
        row.isDir = entry.isFolder();
        folder = entry.dirIndex;
        rows.push_back(std::move(row));
    }
    return rows;
}

}  // namespace dovra
