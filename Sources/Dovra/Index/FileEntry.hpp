#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace dovra {

/// The position of an entry in the index, for its whole life.
using EntryId = std::int32_t;
/// The position of a folder path in the index's folder table.
using DirIndex = std::int32_t;

/// One indexed file or folder: a plain value of 40 bytes. Its name is a slice of the index's name pool, its
/// folder a position in the folder table.
struct FileEntry {
    enum Flag : std::uint8_t {
        folder = 1,
        symbolicLink = 2,
        /// Deleted or replaced: every reader ignores the entry.
        tombstone = 4,
    };

    std::uint64_t size;        ///< length of the data in bytes; 0 for folders
    double modTime;            ///< modification time, whole seconds since 1970
    double crTime;             ///< creation time, whole seconds since 1970
    std::uint32_t nameOffset;  ///< first byte of the name in the name pool
    DirIndex dirIndex;         ///< the folder that holds the entry
    std::uint16_t nameLen;     ///< length of the name in bytes
    std::uint8_t flags;        ///< `Flag` bits

    bool isFolder() const { return (flags & folder) != 0; }
    bool isSymbolicLink() const { return (flags & symbolicLink) != 0; }
    bool isTombstone() const { return (flags & tombstone) != 0; }
};

static_assert(std::is_trivially_copyable_v<FileEntry>);
static_assert(sizeof(FileEntry) == 40);
static_assert(offsetof(FileEntry, modTime) == 8 && offsetof(FileEntry, crTime) == 16);
static_assert(offsetof(FileEntry, nameOffset) == 24 && offsetof(FileEntry, dirIndex) == 28);
static_assert(offsetof(FileEntry, nameLen) == 32 && offsetof(FileEntry, flags) == 34);

}  // namespace dovra
