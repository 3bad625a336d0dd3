#pragma once

#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "Base/PodVector.hpp"
#include "Index/FileEntry.hpp"

namespace dovra {

/// For each folder the identifiers of the entries listed in it, in listing order. A scan appends a whole
/// folder at once, so its list is a run of consecutive identifiers and costs 8 bytes; only a folder that
/// changed later keeps a list of its own. Not thread-safe: the index's lock guards it.
class EntryLists {
public:
    /// Consecutive identifiers from `first`.
    struct Run {
        EntryId first;
        std::int32_t count;
    };

    /// Replaces the folder's list by a run.
    void assignRun(DirIndex folder, Run run);

    /// Replaces the folder's list. Consecutive identifiers are kept as a run again.
    void assign(DirIndex folder, std::span<const EntryId> ids);

    void append(DirIndex folder, EntryId id);

    /// Replaces all lists. Each of `folderCount` folders gets one, of the entries that lie in it and are not
    /// deleted. An entry's position in `entries` is its identifier.
    void assignAll(std::size_t folderCount, std::span<const FileEntry> entries);

    /// Drops the folder's list: the folder counts as never listed.
    void forget(DirIndex folder);

    /// Whether the folder has been listed: a list, maybe an empty one, was stored for it.
    bool contains(DirIndex folder) const;

    /// The folder's list when it is a run (an absent list is an empty run); absent when it is not.
    std::optional<Run> run(DirIndex folder) const;

    /// The length of the folder's list; 0 when there is none.
    std::size_t count(DirIndex folder) const;

    /// The folder's list; empty when there is none.
    std::vector<EntryId> ids(DirIndex folder) const;

    template <typename Visit>
    void forEach(DirIndex folder, Visit&& visit) const {
        if (const auto listed = run(folder)) {
            for (EntryId id = listed->first; id < listed->first + listed->count; ++id)
                visit(id);
        } else {
            for (const EntryId id : scattered_.at(folder))
                visit(id);
        }
    }

    std::size_t memoryBytes() const;

private:
    static constexpr EntryId notListed = -1;
    static constexpr EntryId isScattered = -2;

    Run& slot(DirIndex folder);

    PodVector<Run> runs_;
    std::unordered_map<DirIndex, std::vector<EntryId>> scattered_;
};

}  // namespace dovra
