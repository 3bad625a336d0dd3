#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Index/FileEntry.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

// The layout of the cache file (Documentation/CacheFormat.md): a header; for each folder the length of its
// path in 32 bits and the path; the name pool; the entries; a section with the folders' stamps. Numbers are
// little-endian and sections follow each other without gaps, so records are read and written as they lie in
// memory.
static_assert(std::endian::native == std::endian::little);

struct IndexImageHeader {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t entryBytes;
    std::int64_t volumeDev;
    std::uint64_t lastEventId;
    std::uint32_t folderCount;
    std::uint32_t entryCount;
    std::uint32_t poolBytes;

    static constexpr std::array<char, 8> expectedMagic = {'D', 'O', 'V', 'R', 'A', 'I', 'X', '1'};
    static constexpr std::uint32_t expectedVersion = 1;
    /// In the file; in memory the record is padded to a multiple of 8.
    static constexpr std::size_t bytes = 44;
};

static_assert(offsetof(IndexImageHeader, volumeDev) == 16 && offsetof(IndexImageHeader, lastEventId) == 24);
static_assert(offsetof(IndexImageHeader, folderCount) == 32 && offsetof(IndexImageHeader, poolBytes) == 40);

/// The header of the stamps, one for each folder.
struct StampSectionHeader {
    std::array<char, 8> magic;
    std::uint64_t contentBytes;  ///< the bytes behind this header

    static constexpr std::array<char, 8> expectedMagic = {'D', 'O', 'V', 'R', 'A', 'S', 'T', '1'};
};

static_assert(sizeof(StampSectionHeader) == 16);
static_assert(offsetof(FolderStamp, inode) == 8 && offsetof(FolderStamp, modified) == 16 &&
              offsetof(FolderStamp, changed) == 24);

/// A folder's path takes its length and at least one byte.
inline constexpr std::size_t minFolderBytes = 5;

/// The longest path of a folder that is saved with its contents; a root is always saved. Without a limit the
/// file of an extremely deep tree would be extremely long, and scanning the rest is faster than reading it.
inline constexpr std::size_t maxSavedPathBytes = 4096;

/// The most folders whose parent is not in the table. A scan has one for each of its roots. The search for a
/// folder goes through all of them.
inline constexpr std::size_t maxRoots = 256;

/// The bytes of a record, to be written.
template <typename Record>
std::string_view bytesOf(const Record& record, std::size_t count = sizeof(Record)) {
    return {reinterpret_cast<const char*>(&record), count};
}

}  // namespace dovra
