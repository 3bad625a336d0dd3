#include "Index/FolderMerge.hpp"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "Index/EntriesByName.hpp"

namespace dovra {

namespace {

using Names = std::span<const std::string_view>;

constexpr EntryId noEntry = -1;
constexpr std::size_t notListed = SIZE_MAX;

struct Difference {
    std::vector<EntryId> gone;
    std::vector<std::pair<EntryId, std::size_t>> refreshed;  ///< entry, position in the listing
    std::vector<std::size_t> appeared;                       ///< positions in the listing
    std::optional<std::vector<EntryId>> list;                ///< what stays of it, if it changes
    MergedFolder folder;

    bool isEmpty() const { return refreshed.empty() && !list; }
};

bool isSameKind(const FileEntry& entry, const RawDirent& raw) {
    return entry.isFolder() == raw.isDir && entry.isSymbolicLink() == raw.isSymlink;
}

bool hasSameAttributes(const FileEntry& entry, const RawDirent& raw) {
    return entry.size == raw.size && entry.modTime == raw.modTime && entry.crTime == raw.crTime;
}

/// Compares one folder's list with what was listed. The caller holds the lock.
class Comparison {
public:
    Comparison(const FileIndex& index, DirIndex folder, const DirectoryListing& listing)
        : index_(index), folder_(folder), listing_(listing) {}

    Difference ofAll() {
        const std::vector<EntryId> ids = index_.entriesByDirLocked().ids(folder_);
        // A folder gives its names in the same order as long as they stay the same.
        if (isInOrder(ids)) {
            for (std::size_t i = 0; i < ids.size(); ++i)
                settle(ids[i], i);
        } else {
            settleByName(ids);
        }
        return finish();
    }

    Difference ofNames(Names names) {
        const Positions positions = listedPositions();
        const std::vector<EntryId> ids = entriesByNameLocked(index_, folder_, names);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const auto listed = positions.find(names[i]);
            settle(ids[i], listed == positions.end() ? notListed : listed->second);
        }
        return finish();
    }

private:
    using Positions = std::unordered_map<std::string_view, std::size_t>;

    const FileEntry& entryAt(EntryId id) const {
        return index_.entriesLocked()[static_cast<std::size_t>(id)];
    }

    bool isInOrder(const std::vector<EntryId>& ids) const {
        if (ids.size() != listing_.count()) return false;
        for (std::size_t i = 0; i < ids.size(); ++i) {
            if (index_.nameLocked(ids[i]) != listing_[i].name) return false;
        }
        return true;
    }

    /// Where the listing has each name: the first place, because a folder that changes while it is read can
    /// list a name twice.
    Positions listedPositions() const {
        Positions positions;
        positions.reserve(listing_.count());
        for (std::size_t i = 0; i < listing_.count(); ++i)
            positions.emplace(listing_[i].name, i);
        return positions;
    }

    void settleByName(const std::vector<EntryId>& ids) {
        Positions unknown = listedPositions();
        for (const EntryId id : ids) {
            const auto listed = unknown.extract(index_.nameLocked(id));
            settle(id, listed ? listed.mapped() : notListed);
        }
        for (const auto& [name, position] : unknown)
            settle(noEntry, position);
    }

    /// One name: its entry, and where the listing has it.
    void settle(EntryId id, std::size_t position) {
        const bool stays =
            id != noEntry && position != notListed && isSameKind(entryAt(id), listing_[position]);
        if (stays) {
            keep(id, position);
        } else {
            if (id != noEntry) difference_.gone.push_back(id);
            if (position != notListed) difference_.appeared.push_back(position);
        }
    }

    void keep(EntryId id, std::size_t position) {
        const FileEntry& entry = entryAt(id);
        if (!hasSameAttributes(entry, listing_[position])) {
            difference_.refreshed.emplace_back(id, position);
            if (!entry.isFolder()) difference_.folder.isChanged = true;
        }
        if (entry.isFolder()) {
            difference_.folder.children.push_back(
                {std::string(listing_[position].name), index_.contentsOfLocked(entry)});
        }
    }

    Difference finish() {
        const EntryLists& lists = index_.entriesByDirLocked();
        const bool isOtherList = !difference_.gone.empty() || !difference_.appeared.empty();
        if (isOtherList) difference_.folder.isChanged = true;
        // In the order of the listing, so that the next one has the same.
        std::ranges::sort(difference_.appeared);
        std::ranges::sort(difference_.gone);
        if (isOtherList || !lists.contains(folder_)) {
            const std::vector<EntryId> ids = lists.ids(folder_);
            std::ranges::set_difference(ids, difference_.gone,
                                        std::back_inserter(difference_.list.emplace()));
        }
        return std::move(difference_);
    }

    const FileIndex& index_;
    const DirIndex folder_;
    const DirectoryListing& listing_;
    Difference difference_;
};

void deleteLocked(FileIndex& index, EntryId id) DOVRA_REQUIRES(index.rwlock) {
    const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
    if (const auto contents = entry.isFolder() ? index.contentsOfLocked(entry) : std::nullopt)
        index.forgetContentsLocked(*contents);
    index.tombstoneLocked(id);
}

void applyLocked(FileIndex& index, DirIndex folder, const DirectoryListing& listing, Difference& difference)
    DOVRA_REQUIRES(index.rwlock) {
    for (const auto& [id, position] : difference.refreshed)
        index.refreshEntryLocked(id, listing[position]);
    for (const EntryId id : difference.gone)
        deleteLocked(index, id);
    for (const std::size_t position : difference.appeared) {
        const RawDirent raw = listing[position];
        difference.list->push_back(index.appendEntryLocked(raw, folder));
        if (raw.isDir) difference.folder.children.push_back({std::string(raw.name), std::nullopt});
    }
    if (difference.list) index.assignListLocked(folder, *difference.list);
}

/// Without `names` all are meant; without `stamp` the folder keeps its own.
MergedFolder merge(FileIndex& index, DirIndex folder, const DirectoryListing& listing,
                   std::optional<Names> names, std::optional<FolderStamp> stamp) {
    Difference difference;
    {
        const ReadGuard guard(index.rwlock);
        Comparison comparison(index, folder, listing);
        difference = names ? comparison.ofNames(*names) : comparison.ofAll();
        if (stamp == index.stampLocked(folder)) stamp.reset();
    }
    if (difference.isEmpty() && !stamp) return std::move(difference.folder);
    const WriteGuard guard(index.rwlock);
    applyLocked(index, folder, listing, difference);
    if (stamp) index.setStampLocked(folder, *stamp);
    index.raiseGenerationLocked();
    return std::move(difference.folder);
}

}  // namespace

MergedFolder mergeListing(FileIndex& index, DirIndex folder, const DirectoryListing& listing,
                          const FolderStamp& stamp) {
    return merge(index, folder, listing, std::nullopt, stamp);
}

MergedFolder mergeNames(FileIndex& index, DirIndex folder, const DirectoryListing& listing, Names names) {
    return merge(index, folder, listing, names, std::nullopt);
}

bool differsFromListingLocked(const FileIndex& index, DirIndex folder, const DirectoryListing& listing) {
    return !Comparison(index, folder, listing).ofAll().isEmpty();
}

}  // namespace dovra
