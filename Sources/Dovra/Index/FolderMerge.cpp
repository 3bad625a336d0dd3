#include "Index/FolderMerge.hpp"

#include <unordered_map>
#include <utility>

namespace dovra {

namespace {

struct Difference {
    std::vector<EntryId> kept;  ///< in the order of the list
    std::vector<EntryId> gone;
    std::vector<std::pair<EntryId, std::size_t>> refreshed;  ///< entry, position in the listing
    std::vector<std::size_t> appeared;                       ///< positions in the listing
    bool hasOtherStamp = false;
    MergedFolder folders;

    bool isEmpty() const { return !hasOtherStamp && gone.empty() && refreshed.empty() && appeared.empty(); }
};

/// One name of the folder: its entry, and where the listing has it.
struct Name {
    static constexpr EntryId noEntry = -1;
    static constexpr std::size_t notListed = SIZE_MAX;

    EntryId id = noEntry;
    std::size_t position = notListed;
};

bool isSameKind(const FileEntry& entry, const RawDirent& raw) {
    return entry.isFolder() == raw.isDir && entry.isSymbolicLink() == raw.isSymlink;
}

bool hasSameAttributes(const FileEntry& entry, const RawDirent& raw) {
    return entry.size == raw.size && entry.modTime == raw.modTime && entry.crTime == raw.crTime;
}

class Comparison {
public:
    Comparison(const FileIndex& index, DirIndex folder, const DirectoryListing& listing)
        : index_(index), ids_(index.entriesByDirLocked().ids(folder)), listing_(listing) {}

    Difference run() {
        for (const EntryId id : ids_) {
            if (!entryAt(id).isTombstone()) names_[index_.nameLocked(id)].id = id;
        }
        for (std::size_t i = 0; i < listing_.count(); ++i)
            addListed(i);
        for (const EntryId id : ids_)
            addKnown(id);
        return std::move(difference_);
    }

private:
    const FileEntry& entryAt(EntryId id) const {
        return index_.entriesLocked()[static_cast<std::size_t>(id)];
    }

    void addListed(std::size_t position) {
        const RawDirent raw = listing_[position];
        Name& name = names_[raw.name];
        // A folder that changes while it is read can list a name twice.
        if (name.position != Name::notListed) return;
        name.position = position;
        if (name.id != Name::noEntry && isSameKind(entryAt(name.id), raw)) return;
        name.id = Name::noEntry;
        difference_.appeared.push_back(position);
    }

    void addKnown(EntryId id) {
        const FileEntry& entry = entryAt(id);
        if (entry.isTombstone()) return;
        const Name& name = names_.at(index_.nameLocked(entry));
        if (name.id != id || name.position == Name::notListed) {
            difference_.gone.push_back(id);
            return;
        }
        difference_.kept.push_back(id);
        const RawDirent raw = listing_[name.position];
        if (!hasSameAttributes(entry, raw)) difference_.refreshed.emplace_back(id, name.position);
        if (!entry.isFolder()) return;
        MergedFolder& folders = difference_.folders;
        (index_.contentsOfLocked(entry) ? folders.listedChildren : folders.unlistedChildren)
            .push_back({std::string(raw.name), id});
    }

    const FileIndex& index_;
    const std::vector<EntryId> ids_;
    const DirectoryListing& listing_;
    std::unordered_map<std::string_view, Name> names_;  ///< views into the pool and the listing
    Difference difference_;
};

Difference differenceLocking(const FileIndex& index, DirIndex folder, const DirectoryListing& listing,
                             const FolderStamp& stamp) {
    const ReadGuard guard(index.rwlock);
    Difference difference = Comparison(index, folder, listing).run();
    difference.hasOtherStamp = index.stampLocked(folder) != stamp;
    return difference;
}

void deleteLocked(FileIndex& index, EntryId id) DOVRA_REQUIRES(index.rwlock) {
    const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
    if (const auto contents = entry.isFolder() ? index.contentsOfLocked(entry) : std::nullopt)
        index.forgetContentsLocked(*contents);
    index.tombstoneLocked(id);
}

void append(FileIndex& index, DirIndex folder, const RawDirent& raw, Difference& difference)
    DOVRA_REQUIRES(index.rwlock) {
    const EntryId id = index.appendEntryLocked(raw, folder);
    difference.kept.push_back(id);
    if (raw.isDir) difference.folders.unlistedChildren.push_back({std::string(raw.name), id});
}

void apply(FileIndex& index, DirIndex folder, const DirectoryListing& listing, const FolderStamp& stamp,
           Difference& difference) {
    const WriteGuard guard(index.rwlock);
    for (const auto& [id, position] : difference.refreshed)
        index.refreshEntryLocked(id, listing[position]);
    for (const EntryId id : difference.gone)
        deleteLocked(index, id);
    for (const std::size_t position : difference.appeared)
        append(index, folder, listing[position], difference);
    if (!difference.gone.empty() || !difference.appeared.empty())
        index.assignListLocked(folder, difference.kept);
    index.setStampLocked(folder, stamp);
    index.raiseGenerationLocked();
}

}  // namespace

MergedFolder mergeListing(FileIndex& index, DirIndex folder, const DirectoryListing& listing,
                          const FolderStamp& stamp) {
    Difference difference = differenceLocking(index, folder, listing, stamp);
    if (!difference.isEmpty()) apply(index, folder, listing, stamp, difference);
    return std::move(difference.folders);
}

}  // namespace dovra
