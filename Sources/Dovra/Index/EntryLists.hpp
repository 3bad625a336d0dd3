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

    /// Replaces the folder's list. What happens to be consecutive is kept as a run again.
    void assign(DirIndex folder, std::span<const EntryId> ids);

    void append(DirIndex folder, EntryId id);

    /// Replaces all lists: `folderCount` folders have one, with those of `entries` that lie in them and are
    /// not deleted. Their positions are the identifiers.
    void assignAll(std::size_t folderCount, std::span<const FileEntry> entries);

    /// Drops the folder's list: it counts as never listed.
    void forget(DirIndex folder);

    /// Whether a list was ever stored for the folder, an empty one included: it has been listed.
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
