#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

namespace dovra {

/// What the system said of a folder at one moment. The system changes it with every name that comes or goes,
/// so a folder whose stamp is still the same has the same list of names, as far as its times can tell two
/// moments apart (`StampClock`).
struct FolderStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;    ///< 0 in a stamp that is not known, which equals no folder's
    std::int64_t modified = 0;  ///< when the list of names changed, nanoseconds since 1970
    std::int64_t changed = 0;   ///< when anything about the folder changed, nanoseconds since 1970

    bool isKnown() const { return inode != 0; }
    /// Whether both are known, and of one folder, however it changed in between.
    bool isOfSameFolder(const FolderStamp& other) const {
        return isKnown() && device == other.device && inode == other.inode;
    }
    bool operator==(const FolderStamp&) const = default;
};

/// The stamp of the folder at this path, or where a link at the path leads to; one that is not known when it
/// cannot be asked.
FolderStamp folderStamp(const std::string& path);

static_assert(std::is_trivially_copyable_v<FolderStamp> && sizeof(FolderStamp) == 32);

}  // namespace dovra
