#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Analysis/DuplicateFinder.hpp"
#include "Base/PodVector.hpp"
#include "Index/FileIndex.hpp"

namespace dovra {

/// The live regular files among the entries, as far as the index tells: no folders, no links. The index's
/// read lock is held; identifiers are in range.
std::vector<DuplicateFinder::Item> duplicateItemsLocked(const FileIndex& index, std::span<const EntryId> ids);

/// The files that share their size with another, with their paths. These are copied out of the index, so that
/// contents are read without its lock. A file costs its name and 24 bytes. Immutable; for any number of
/// threads.
class DuplicateCandidates {
public:
    /// Groups the items (by ascending identifier) by size. Takes the read lock to copy their paths.
    DuplicateCandidates(const FileIndex& index, std::span<const DuplicateFinder::Item> items);

    /// Largest size first.
    std::span<const DuplicateFinder::SizeGroup> groups() const { return groups_; }

    /// The full path of a member of a group; absent when the member was no longer a live file of its size as
    /// the paths were copied.
    std::optional<std::string> path(EntryId id) const;

    /// Whether a member's entry is live and still stands for the file of that path and size. The index's read
    /// lock is held.
    bool isCurrentLocked(const FileIndex& index, EntryId id, std::uint64_t size) const;

private:
    struct File {
        EntryId id;
        std::uint32_t folder;  ///< position in `folders_`
        std::size_t nameOffset;
        std::size_t nameLen;
    };

    void copyPaths(const FileIndex& index, std::span<const DuplicateFinder::Item> items);

    std::vector<DuplicateFinder::SizeGroup> groups_;
    std::vector<File> files_;  ///< by identifier
    std::vector<std::string> folders_;
    PodVector<char> names_;
    std::uint64_t generation_ = 0;
};

}  // namespace dovra
