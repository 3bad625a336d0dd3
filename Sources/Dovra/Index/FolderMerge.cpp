#include "Index/FolderMerge.hpp"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "Index/NamePool.hpp"

namespace dovra {

namespace {

using Names = std::span<const std::string_view>;

struct Difference {
    std::vector<EntryId> gone;
    std::vector<std::pair<EntryId, std::size_t>> refreshed;  ///< entry, position in the listing
    std::vector<std::size_t> appeared;                       ///< positions in the listing
    std::optional<std::vector<EntryId>> list;                ///< the remaining list, if it changes
    MergedFolder folder;

    bool isEmpty() const { return refreshed.empty() && !list; }
};

bool isSameKind(const FileEntry& entry, const RawDirent& raw) {
    return entry.isFolder() == raw.isDir && entry.isSymbolicLink() == raw.isSymlink;
}

bool hasSameAttributes(const FileEntry& entry, const RawDirent& raw) {
    return entry.size == raw.size && entry.modTime == raw.modTime && entry.crTime == raw.crTime;
}

/// The entries of the folder with one of these names. A file that keeps changing is among the last refreshed.
/// The others take a pass over the list: signatures rule out nearly all of a million entries, unless names
/// differ in digits alone.
std::vector<EntryId> entriesNamedLocked(const FileIndex& index, DirIndex folder, Names names) {
    struct Asked {
        NameSignature signature;
        std::string_view name;
        auto operator<=>(const Asked&) const = default;
    };
    std::vector<Asked> asked;
    std::vector<EntryId> found;
    for (const std::string_view name : names) {
        if (const auto id = index.findRefreshedLocked(folder, name)) {
            found.push_back(*id);
        } else {
            asked.push_back({nameSignature(name), name});
        }
    }
    if (asked.empty()) return found;
    std::ranges::sort(asked);
    const auto signatures = index.signaturesLocked();
    index.entriesByDirLocked().forEach(folder, [&](EntryId id) {
        if (found.size() == names.size()) return;
        const NameSignature signature = signatures[static_cast<std::size_t>(id)];
        const auto same = std::ranges::equal_range(asked, signature, {}, &Asked::signature);
        if (same.empty()) return;
        const std::string_view name = index.nameLocked(id);
        // The first name that is not less, or else the last one.
        const auto nearest = std::ranges::lower_bound(same.begin(), same.end() - 1, name, {}, &Asked::name);
        if (nearest->name == name) found.push_back(id);
    });
    return found;
}

/// Compares entries of one folder with a listing. The caller holds the lock.
class Comparison {
public:
    Comparison(const FileIndex& index, DirIndex folder, const FolderListing& listing)
        : index_(index), folder_(folder), listing_(listing) {}

    Difference run(const std::vector<EntryId>& ids) {
        // A folder gives its names in the same order as long as they stay the same.
        if (isInOrder(ids)) {
            for (std::size_t i = 0; i < ids.size(); ++i)
                settle(ids[i], i);
        } else {
            settleByName(ids);
        }
        finishList();
        return std::move(difference_);
    }

private:
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

    void settleByName(const std::vector<EntryId>& ids) {
        // A folder that changes while it is read can list a name twice: the first place counts.
        std::unordered_map<std::string_view, std::size_t> unknown;
        unknown.reserve(listing_.count());
        for (std::size_t i = 0; i < listing_.count(); ++i)
            unknown.emplace(listing_[i].name, i);
        for (const EntryId id : ids) {
            if (const auto listed = unknown.extract(index_.nameLocked(id))) {
                settle(id, listed.mapped());
            } else {
                difference_.gone.push_back(id);
            }
        }
        for (const auto& [name, position] : unknown)
            difference_.appeared.push_back(position);
    }

    /// An entry whose name is listed at `position`.
    void settle(EntryId id, std::size_t position) {
        const FileEntry& entry = entryAt(id);
        const RawDirent raw = listing_[position];
        if (!isSameKind(entry, raw)) {
            difference_.gone.push_back(id);
            difference_.appeared.push_back(position);
            return;
        }
        if (!hasSameAttributes(entry, raw)) {
            difference_.refreshed.emplace_back(id, position);
            if (!entry.isFolder()) difference_.folder.isChanged = true;
        }
        if (entry.isFolder())
            difference_.folder.children.push_back({std::string(raw.name), index_.contentsOfLocked(entry)});
    }

    void finishList() {
        const EntryLists& lists = index_.entriesByDirLocked();
        const bool isOtherList = !difference_.gone.empty() || !difference_.appeared.empty();
        if (!isOtherList && lists.contains(folder_)) return;
        difference_.folder.isChanged |= isOtherList;
        // In the order of the listing, so that the next listing has the same order.
        std::ranges::sort(difference_.appeared);
        std::ranges::sort(difference_.gone);
        std::ranges::set_difference(lists.ids(folder_), difference_.gone,
                                    std::back_inserter(difference_.list.emplace()));
    }

    const FileIndex& index_;
    const DirIndex folder_;
    const FolderListing& listing_;
    Difference difference_;
};

/// The difference of all entries, or of those with these names.
Difference differenceLocked(const FileIndex& index, DirIndex folder, const FolderListing& listing,
                            std::optional<Names> names = {}) {
    return Comparison(index, folder, listing)
        .run(names ? entriesNamedLocked(index, folder, *names) : index.entriesByDirLocked().ids(folder));
}

void deleteLocked(FileIndex& index, EntryId id) DOVRA_REQUIRES(index.rwlock) {
    const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
    if (const auto contents = entry.isFolder() ? index.contentsOfLocked(entry) : std::nullopt)
        index.forgetContentsLocked(*contents);
    index.tombstoneLocked(id);
}

void applyLocked(FileIndex& index, DirIndex folder, const FolderListing& listing, Difference& difference)
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

/// Without `names` all entries are merged; without `stamp` the folder keeps its own.
MergedFolder merge(FileIndex& index, DirIndex folder, const FolderListing& listing,
                   std::optional<Names> names, std::optional<FolderStamp> stamp) {
    Difference difference;
    {
        const ReadGuard guard(index.rwlock);
        difference = differenceLocked(index, folder, listing, names);
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

MergedFolder mergeListing(FileIndex& index, DirIndex folder, const FolderListing& listing,
                          const FolderStamp& stamp) {
    return merge(index, folder, listing, std::nullopt, stamp);
}

MergedFolder mergeNames(FileIndex& index, DirIndex folder, const FolderListing& listing, Names names) {
    return merge(index, folder, listing, names, std::nullopt);
}

bool differsFromListingLocked(const FileIndex& index, DirIndex folder, const FolderListing& listing) {
    const Difference difference = differenceLocked(index, folder, listing);
    const auto isUnlisted = [](const MergedFolder::Child& child) { return !child.contents; };
    return !difference.isEmpty() || std::ranges::any_of(difference.folder.children, isUnlisted);
}

}  // namespace dovra
