#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Base/Locks.hpp"
#include "Base/PodVector.hpp"
#include "Index/EntryLists.hpp"
#include "Index/EntrySet.hpp"
#include "Index/FileEntry.hpp"
#include "Index/FolderTable.hpp"
#include "Index/NamePool.hpp"
#include "Index/TrigramIndex.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

/// The contents of an index. They can be built elsewhere and taken over at once
/// (`FileIndex::replaceContents`). Their builder keeps the invariants of `FileIndex`.
struct IndexContents {
    FolderTable directories;
    PodVector<FileEntry> entries;
    EntryLists entriesByDir;
    NamePool names;
    PodVector<NameSignature> signatures;
    PodVector<FolderStamp> stamps;  ///< by folder; the last ones may be missing
    EntrySet tombstones;  ///< the entries with that flag, so that searches need not read entries for it
    std::int64_t tombstoneCount = 0;
    /// The entries refreshed last, by a hash of folder and name; unused places are 0.
    std::array<EntryId, 1024> refreshed = {};
    std::shared_ptr<TrigramIndex> trigram;  ///< of all the names; null where none is wanted
};

/// The bonus of a path in an order by relevance or score; above 0.
struct PathBoost {
    std::string path;  ///< full path, raw bytes
    std::int32_t boost = 0;
};

/// Knows the paths that matter to the user. Any thread may call it, also under an index's lock, because it
/// takes no such lock itself.
class RankingBoost {
public:
    virtual ~RankingBoost() = default;

    /// The largest boost that a path can have.
    static constexpr std::int32_t largest = 72;

    /// Every path with a boost, all as of one moment; in no order.
    virtual std::vector<PathBoost> boosts() const = 0;
};

/// Every indexed file and folder, in a layout made for reading millions of names quickly.
///
/// It holds one flat array of 40-byte entries, whose positions are the entries' identifiers; one pool with
/// all names back to back, in the order of the identifiers; one 4-byte signature for each name; the interned
/// folder paths; and for each folder the list of its entries. An entry costs 40 bytes, its name and an eighth
/// of it, and 4 bytes; a folder some 30 bytes more. Searches, reports and scans are operations of their own
/// subsystems, with the index as their first argument.
///
/// Invariants:
/// - an entry never moves and is never removed; a deleted one carries the tombstone flag and every reader
/// skips it;
/// - names lie in the pool in the order of the identifiers, without gaps; the pool only grows until `reset`;
/// - every `dirIndex` is a position in `directories()`; a folder's own entry stands in its parent's list;
/// - a live entry stands in its folder's list, once; a folder that has a list lies in one that has one, up to
/// the folder where the scan began;
/// - `generation()` rises with every change.
///
/// Locking: one reader-writer lock guards everything but `generation()`. An operation whose name ends in
/// `Locked` expects its caller to hold `rwlock` (the write side to change, either side to read); every other
/// operation takes the lock itself. References and views that a `Locked` operation returns are valid while
/// the lock is held.
class FileIndex {
public:
    /// How a search goes over the entries.
    enum class ScanMode : std::uint8_t { serial, parallel };

    /// The largest match count that a search still sorts.
    static constexpr std::int64_t sortCap = 300000;
    static constexpr std::int64_t maxEntries = 2147483647;

    /// Absolute folder paths that a scan lists as entries but never enters.
    static const std::set<std::string, std::less<>> skipDirs;

    mutable RWLock rwlock;

    /// Empties the index; an attached trigram index is emptied with it.
    void reset() DOVRA_EXCLUDES(rwlock);

    /// Empties the index and returns its contents. An attached trigram index goes with them: none is attached
    /// afterwards. The lock is held only for the move.
    IndexContents takeContents() DOVRA_EXCLUDES(rwlock);

    /// Takes over contents built elsewhere, with their trigram index or the lack of one. The lock is held
    /// only for the swap.
    void replaceContents(IndexContents contents) DOVRA_EXCLUDES(rwlock);

    /// Rises by one on `reset`, `takeContents`, `replaceContents` and on every stored or changed folder. Any
    /// thread, without the lock.
    std::uint64_t generation() const { return generation_.load(std::memory_order_acquire); }

    /// The number of entries that are not tombstones.
    std::int64_t itemCount() const DOVRA_EXCLUDES(rwlock);

    /// The entry's full path (raw bytes); absent when the identifier is out of range or the entry a
    /// tombstone.
    std::optional<std::string> fullPath(EntryId id) const DOVRA_EXCLUDES(rwlock);

    /// The full paths of the files among `ids`; folders and tombstones are left out.
    std::unordered_map<EntryId, std::string> resolvePathsLocking(std::span<const EntryId> ids) const
        DOVRA_EXCLUDES(rwlock);

    /// Bytes of memory that the index holds, the trigram index apart.
    std::size_t memoryBytes() const DOVRA_EXCLUDES(rwlock);

    /// Moves the arrays that searches read into large pages, for an index that lives on. Searches go on
    /// meanwhile; changes wait, 50 ms for a million entries.
    void gatherIntoLargePages() const DOVRA_EXCLUDES(rwlock);

    /// Switches the trigram index on (with a new, empty one) or off (with null). Entries appended from then
    /// on are posted to it; those already there are not.
    void attachTrigramIndex(std::shared_ptr<TrigramIndex> trigram) DOVRA_EXCLUDES(rwlock);

    bool hasTrigramIndex() const DOVRA_EXCLUDES(rwlock);

    /// Sets the boosts for an order by relevance or score; null for none.
    void setFrecency(std::shared_ptr<const RankingBoost> frecency) DOVRA_EXCLUDES(rwlock);

    /// Forces the scan mode of searches; absent means that each search chooses.
    void setScanModeOverride(std::optional<ScanMode> mode) DOVRA_EXCLUDES(rwlock);

    // For searches. The analysis cannot follow a held lock into a search's lambdas and objects, so only the
    // names of these operations state the rule.
    std::span<const FileEntry> entriesLocked() const DOVRA_UNCHECKED_LOCKING {
        return contents_.entries.span();
    }
    const NamePool& namePoolLocked() const DOVRA_UNCHECKED_LOCKING { return contents_.names; }
    std::span<const NameSignature> signaturesLocked() const DOVRA_UNCHECKED_LOCKING {
        return contents_.signatures.span();
    }
    const FolderTable& directoriesLocked() const DOVRA_UNCHECKED_LOCKING { return contents_.directories; }
    const EntryLists& entriesByDirLocked() const DOVRA_UNCHECKED_LOCKING { return contents_.entriesByDir; }
    TrigramIndex* trigramLocked() const DOVRA_UNCHECKED_LOCKING { return contents_.trigram.get(); }
    const RankingBoost* frecencyLocked() const DOVRA_UNCHECKED_LOCKING { return frecency_.get(); }
    std::optional<ScanMode> scanModeOverrideLocked() const DOVRA_UNCHECKED_LOCKING {
        return scanModeOverride_;
    }
    /// The stamp of the folder when it was last listed as a whole; not known by default.
    FolderStamp stampLocked(DirIndex folder) const DOVRA_UNCHECKED_LOCKING {
        const auto position = static_cast<std::size_t>(folder);
        return position < contents_.stamps.size() ? contents_.stamps[position] : FolderStamp{};
    }
    const EntrySet& tombstonesLocked() const DOVRA_UNCHECKED_LOCKING { return contents_.tombstones; }
    std::int64_t tombstoneCountLocked() const DOVRA_UNCHECKED_LOCKING { return contents_.tombstoneCount; }

    std::string_view nameLocked(const FileEntry& entry) const DOVRA_UNCHECKED_LOCKING {
        return contents_.names.slice(entry.nameOffset, entry.nameLen);
    }
    std::string_view nameLocked(EntryId id) const DOVRA_UNCHECKED_LOCKING {
        return nameLocked(contents_.entries[static_cast<std::size_t>(id)]);
    }

    /// The position of the folder at `path`; absent when it was never listed.
    std::optional<DirIndex> listedFolder(std::string_view path) const DOVRA_EXCLUDES(rwlock);

    /// The position of a folder's own contents, from its entry; absent when it was never listed.
    std::optional<DirIndex> contentsOfLocked(const FileEntry& folder) const DOVRA_UNCHECKED_LOCKING;

    /// The live entry of that name, without a pass over the folder's list; absent unless it was among the
    /// last refreshed.
    std::optional<EntryId> findRefreshedLocked(DirIndex folder,
                                               std::string_view name) const DOVRA_UNCHECKED_LOCKING;

    /// The position of `path` in the folder table, added when it is new.
    DirIndex internDirLocked(std::string_view path) DOVRA_REQUIRES(rwlock);
    DirIndex internChildDirLocked(DirIndex parent, std::string_view name) DOVRA_REQUIRES(rwlock);

    /// Appends one entry and posts its name to the trigram index, if there is one. The caller stores the
    /// folder's list. Fatal above 2147483647 entries, or when the name pool exceeds its limits.
    EntryId appendEntryLocked(const RawDirent& raw, DirIndex dirIndex) DOVRA_REQUIRES(rwlock);

    /// Appends a whole listing as the contents of the folder and raises the generation. `stamp` was taken
    /// before the folder was listed; without one the folder counts as changed.
    void storeListingLocked(DirIndex folder, const FolderListing& listing, const FolderStamp& stamp = {})
        DOVRA_REQUIRES(rwlock);

    /// Replaces the folder's stamp, the state of the disk when its contents were stored.
    void setStampLocked(DirIndex folder, const FolderStamp& stamp) DOVRA_REQUIRES(rwlock);

    /// Marks one entry deleted. Its subtree is left to the caller.
    void tombstoneLocked(EntryId id) DOVRA_REQUIRES(rwlock);

    /// Marks all entries below `path`, at any depth, deleted: the folder is empty then. Its own entry in its
    /// parent's list and the interned paths stay.
    void tombstoneSubtreeLocked(std::string_view path) DOVRA_REQUIRES(rwlock);

    /// Marks all entries below the folder, at any depth, deleted, and drops the lists: the folder counts as
    /// never listed. The cost is in proportion to the deleted entries.
    void forgetContentsLocked(DirIndex folder) DOVRA_REQUIRES(rwlock);

    /// Takes over the attributes of an entry whose name and kind stay.
    void refreshEntryLocked(EntryId id, const RawDirent& raw) DOVRA_REQUIRES(rwlock);

    /// Replaces the folder's list. All of `ids` lie in the folder and ascend.
    void assignListLocked(DirIndex folder, std::span<const EntryId> ids) DOVRA_REQUIRES(rwlock) {
        contents_.entriesByDir.assign(folder, ids);
    }

    void raiseGenerationLocked() DOVRA_REQUIRES(rwlock) {
        generation_.fetch_add(1, std::memory_order_acq_rel);
    }

private:
    std::string fullPathLocked(const FileEntry& entry) const DOVRA_REQUIRES_SHARED(rwlock);

    IndexContents contents_ DOVRA_GUARDED_BY(rwlock);
    std::shared_ptr<const RankingBoost> frecency_ DOVRA_GUARDED_BY(rwlock);
    std::optional<ScanMode> scanModeOverride_ DOVRA_GUARDED_BY(rwlock);
    std::atomic<std::uint64_t> generation_{0};
};

}  // namespace dovra
