#pragma once

#include <bit>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace dovra::test {

/// Fields in the order of the cache file, each a number and how many bytes it takes: the lowest comes first.
inline std::string fields(std::initializer_list<std::pair<std::uint64_t, int>> numbers) {
    std::string bytes;
    for (const auto& [number, size] : numbers) {
        for (int i = 0; i < size; ++i)
            bytes += static_cast<char>(number >> (8 * i) & 0xFF);
    }
    return bytes;
}

/// A cache file written field by field from the table in Documentation/CacheFormat.md, without any of the
/// program's own code, so that fields can be wrong one at a time.
struct RawIndexImage {
    struct Entry {
        std::uint64_t size = 0;
        double modTime = 0;
        double crTime = 0;
        std::uint64_t nameOffset = 0;
        std::uint64_t dirIndex = 0;
        std::uint64_t nameLen = 0;
        std::uint64_t flags = 0;
        std::string_view reserved = std::string_view("\0\0\0\0\0", 5);
    };
    struct Stamp {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::uint64_t modified = 0;
        std::uint64_t changed = 0;
    };

    std::string magic = "DOVRAIX1";
    std::uint64_t version = 1;
    std::uint64_t entryBytes = 40;
    std::uint64_t volumeDev = 7;
    std::uint64_t lastEventId = 1'000'000'000;
    std::vector<std::string> folders;
    std::string pool;
    std::vector<Entry> entries;
    std::string stampMagic = "DOVRAST1";
    std::vector<Stamp> stamps;
    /// In place of the true counts and lengths.
    std::optional<std::uint64_t> folderCount, entryCount, poolBytes, pathLength, stampBytes;

    static constexpr std::uint64_t folder = 1;
    static constexpr std::uint64_t link = 2;
    static constexpr std::uint64_t tombstone = 4;

    void add(std::uint64_t parent, std::string_view name, std::uint64_t flags = 0) {
        entries.push_back({.size = (flags & folder) != 0 ? 0 : 100 + entries.size(),
                           .modTime = 1'600'000'000,
                           .crTime = -1,
                           .nameOffset = pool.size(),
                           .dirIndex = parent,
                           .nameLen = name.size(),
                           .flags = flags});
        pool += name;
    }

    /// Up to the end of the entries.
    std::string bytesWithoutStamps() const {
        std::string out = magic + fields({{version, 4},
                                          {entryBytes, 4},
                                          {volumeDev, 8},
                                          {lastEventId, 8},
                                          {folderCount.value_or(folders.size()), 4},
                                          {entryCount.value_or(entries.size()), 4},
                                          {poolBytes.value_or(pool.size()), 4}});
        for (const std::string& path : folders) {
            const bool isLast = &path == &folders.back();
            out += fields({{isLast ? pathLength.value_or(path.size()) : path.size(), 4}}) + path;
        }
        out += pool;
        for (const Entry& entry : entries) {
            const auto modified = std::bit_cast<std::uint64_t>(entry.modTime);
            const auto created = std::bit_cast<std::uint64_t>(entry.crTime);
            out += fields({{entry.size, 8}, {modified, 8}, {created, 8}, {entry.nameOffset, 4}});
            out += fields({{entry.dirIndex, 4}, {entry.nameLen, 2}, {entry.flags, 1}});
            out += entry.reserved;
        }
        return out;
    }

    std::string bytes() const {
        std::string out = bytesWithoutStamps() + stampMagic;
        out += fields({{stampBytes.value_or(stamps.size() * 32), 8}});
        for (const Stamp& stamp : stamps)
            out += fields({{stamp.device, 8}, {stamp.inode, 8}, {stamp.modified, 8}, {stamp.changed, 8}});
        return out;
    }
};

/// A small tree with every kind of entry. Its folders: "/", "/b", "/b/c".
inline RawIndexImage soundIndexImage() {
    RawIndexImage raw;
    raw.folders = {"/", "/b", "/b/c"};
    raw.add(0, "a.txt");
    raw.add(0, "b", RawIndexImage::folder);
    raw.add(1, "odd \xFF\n", RawIndexImage::tombstone);
    raw.add(1, "c", RawIndexImage::folder);
    raw.add(2, "link", RawIndexImage::link);
    raw.add(0, "late");
    for (std::uint64_t i = 1; i <= 3; ++i)
        raw.stamps.push_back({.device = 7, .inode = i, .modified = 10 * i, .changed = 20 * i});
    return raw;
}

}  // namespace dovra::test
