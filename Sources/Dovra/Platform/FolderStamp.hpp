#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

namespace dovra {

/// The identity and the times of a folder at one moment. Every name that comes or goes changes the times. So
/// a folder with the same stamp has the same list of names, as far as its times can tell two moments apart
/// (`StampClock`).
struct FolderStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;    ///< 0 in an unknown stamp, which equals no folder's
    std::int64_t modified = 0;  ///< last change of the list of names, nanoseconds since 1970
    std::int64_t changed = 0;   ///< last change of the folder in any way, nanoseconds since 1970

    bool isKnown() const { return inode != 0; }
    /// Whether both stamps are known, and of one folder at any two moments.
    bool isOfSameFolder(const FolderStamp& other) const {
        return isKnown() && device == other.device && inode == other.inode;
    }
    bool operator==(const FolderStamp&) const = default;
};

/// The stamp of the folder at this path, or at the target of a link there; unknown after any failure.
FolderStamp folderStamp(const std::string& path);

static_assert(std::is_trivially_copyable_v<FolderStamp> && sizeof(FolderStamp) == 32);

}  // namespace dovra
