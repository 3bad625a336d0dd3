#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovra::test {

/// Fields one behind the other, as the processor stores them: the lowest byte comes first.
template <typename... Fields>
std::string packed(const Fields&... fields) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&fields), sizeof fields), ...);
    return bytes;
}

/// A cache file written field by field after the table in Documentation/CacheFormat.md, without the program's
/// own code. So fields can be wrong one at a time.
struct RawIndexImage {
    struct Entry {
        std::uint64_t size = 0;
        double modTime = 0, crTime = 0;
        std::uint32_t nameOffset = 0, dirIndex = 0;
        std::uint16_t nameLen = 0;
        std::uint8_t flags = 0;
        std::string_view reserved = std::string_view("\0\0\0\0\0", 5);
    };
    struct Stamp {
        std::uint64_t device = 0, inode = 0, modified = 0, changed = 0;
    };

    std::string magic = "DOVRAIX1";
    std::uint32_t version = 1, entryBytes = 40;
    std::uint64_t volumeDev = 7, lastEventId = 1'000'000'000;
    std::vector<std::string> folders;
    std::string pool;
    std::vector<Entry> entries;
    std::string stampMagic = "DOVRAST1";
    std::vector<Stamp> stamps;
    /// Values in place of the true counts and lengths.
    std::optional<std::uint32_t> folderCount, entryCount, poolBytes, pathLength;
    std::optional<std::uint64_t> stampBytes;

    static constexpr std::uint8_t folder = 1, link = 2, tombstone = 4;

    void add(std::uint32_t directory, std::string_view name, std::uint8_t flags = 0) {
        const std::uint64_t size = (flags & folder) != 0 ? 0 : 100 + entries.size();
        entries.push_back({size, 1'600'000'000, -1, static_cast<std::uint32_t>(pool.size()), directory,
                           static_cast<std::uint16_t>(name.size()), flags});
        pool += name;
    }

    /// The bytes up to the end of the entries.
    std::string bytesWithoutStamps() const {
        const auto count = [](const auto& counted) { return static_cast<std::uint32_t>(counted.size()); };
        std::string out =
            magic + packed(version, entryBytes, volumeDev, lastEventId, folderCount.value_or(count(folders)),
                           entryCount.value_or(count(entries)), poolBytes.value_or(count(pool)));
        for (const std::string& path : folders) {
            const bool isLast = &path == &folders.back();
            out += packed(isLast ? pathLength.value_or(count(path)) : count(path)) + path;
        }
        out += pool;
        for (const Entry& entry : entries) {
            out += packed(entry.size, entry.modTime, entry.crTime, entry.nameOffset, entry.dirIndex,
                          entry.nameLen, entry.flags)
                       .append(entry.reserved);
        }
        return out;
    }

    std::string bytes() const {
        std::string out = bytesWithoutStamps() + stampMagic;
        out += packed(stampBytes.value_or(stamps.size() * 32));
        for (const Stamp& stamp : stamps)
            out += packed(stamp.device, stamp.inode, stamp.modified, stamp.changed);
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
