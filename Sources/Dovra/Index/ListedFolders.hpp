#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The longest path by which the system is asked: it takes no longer one in one call. What lies deeper is
/// told as a part of the nearest folder above whose path is no longer.
inline constexpr std::size_t maxAskedPathBytes = 4095;

/// A folder whose contents an index holds.
struct ListedFolder {
    DirIndex position;
    std::string path;
    /// Its own path is too long to be asked by; `path` is that of the nearest folder above with a shorter
    /// one. What lies below it is left out.
    bool isTooDeep = false;
};

/// Goes through the folders whose contents an index holds, in the order of their positions, some at a time,
/// so that the disk can be asked about them without the lock. Folders that are added meanwhile are reached
/// too; when the index is emptied or replaced, this is void. Keeps two bytes a folder, and no paths. For one
/// thread.
class ListedFolders {
public:
    /// Up to `count` more folders; none at the end. Takes the read lock.
    std::vector<ListedFolder> next(const FileIndex& index, std::size_t count);

    /// Makes this folder the next one.
    void goBackTo(DirIndex position) { position_ = static_cast<std::size_t>(position); }

private:
    struct Step {
        DirIndex folder;
        std::size_t pathBytes;
    };

    bool isTooDeep(DirIndex folder) const;
    std::string pathOf(const DirectoryTable& directories, DirIndex folder);

    std::size_t position_ = 0;
    std::vector<std::uint16_t> pathBytes_;  ///< of each folder so far, cut at one more than may be asked
    std::string path_;                      ///< of the last folder that was put together, "/" as ""
    std::vector<Step> steps_;               ///< the folders on the way there, the last one included
};

}  // namespace dovra
