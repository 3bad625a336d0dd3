#pragma once

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <vector>

#include "Base/PathText.hpp"
#include "Base/Utf8.hpp"
#include "Diagnostics/IndexCheck.hpp"
#include "Index/Crawl.hpp"
#include "Index/IndexImageFormat.hpp"

namespace dovra::test {

/// The scope of a comparison. `whatIsSaved` leaves out folders whose paths are too long to be saved.
enum class Compared : std::uint8_t { all, namesAndKinds, whatIsSaved };

/// Every live entry with its attributes and every listed folder, in order. Identifiers and tombstones are
/// left out.
inline std::vector<std::string> contentsOf(const FileIndex& index, Compared compared = Compared::all) {
    const ReadGuard guard(index.rwlock);
    const FolderTable& folders = index.directoriesLocked();
    const auto counts = [&](DirIndex folder) {
        return compared != Compared::whatIsSaved || folders.path(folder).size() <= maxSavedPathBytes;
    };
    std::vector<std::string> contents;
    for (const FileEntry& entry : index.entriesLocked()) {
        if (entry.isTombstone() || !counts(entry.dirIndex)) continue;
        const std::string path = joinPath(folders.path(entry.dirIndex), index.nameLocked(entry));
        std::string line = fmt::format("{} kind {}", visibleText(path), entry.flags);
        if (compared != Compared::namesAndKinds)
            line += fmt::format(" size {} times {} {}", entry.size, entry.modTime, entry.crTime);
        contents.push_back(std::move(line));
    }
    for (std::size_t i = 0; i < folders.count(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        if (index.entriesByDirLocked().contains(folder) && counts(folder))
            contents.push_back(visibleText(folders.path(folder)) + " is listed");
    }
    std::ranges::sort(contents);
    return contents;
}

/// The first few lines of difference between the index and a fresh scan of `root`, and the invariants that
/// the index violates. Empty when there are none.
inline std::vector<std::string> differencesFromFreshScan(const FileIndex& index, const std::string& root,
                                                         Compared compared = Compared::all) {
    std::vector<std::string> differences = indexViolations(index);
    FileIndex fresh;
    crawl(fresh, {root}, {});
    const std::vector<std::string> expected = contentsOf(fresh, compared);
    const std::vector<std::string> found = contentsOf(index, compared);
    const auto addMissing = [&](const char* what, const auto& from, const auto& in) {
        std::vector<std::string> missing;
        std::ranges::set_difference(from, in, std::back_inserter(missing));
        for (std::size_t i = 0; i < std::min<std::size_t>(missing.size(), 5); ++i)
            differences.push_back(fmt::format("{}: {} (of {})", what, missing[i], missing.size()));
    };
    addMissing("missing", expected, found);
    addMissing("too much", found, expected);
    return differences;
}

}  // namespace dovra::test
