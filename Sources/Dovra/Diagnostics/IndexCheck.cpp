#include "Diagnostics/IndexCheck.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Base/PathText.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

/// Collects the violations of rules, the first few of each rule in full and safe to show on a terminal.
class ViolationList {
public:
    /// Notes a violation of `rule` unless `holds`; the rest describes it, as for `fmt::format`.
    template <typename... Values>
    void require(bool holds, const std::string& rule, fmt::format_string<Values...> detail,
                 Values&&... values) {
        if (holds) return;
        if (++counts_[rule] > shownPerRule) return;
        texts_.push_back(visibleText(rule + ": " + fmt::format(detail, std::forward<Values>(values)...)));
    }

    /// The violations in full, and for each rule the number of further ones.
    std::vector<std::string> take() {
        for (const auto& [rule, count] : counts_) {
            if (count > shownPerRule)
                texts_.push_back(fmt::format("{}: {} more", rule, count - shownPerRule));
        }
        return std::move(texts_);
    }

private:
    static constexpr std::size_t shownPerRule = 3;

    std::map<std::string, std::size_t> counts_;
    std::vector<std::string> texts_;
};

/// The bytes of paths that one check may build. A tree of a million folders has about 80 MB of them.
constexpr std::size_t pathBudgetBytes = std::size_t{128} * 1024 * 1024;

/// The number of entries whose paths are asked for through the public operations.
constexpr std::size_t sampledPaths = 500;

/// The number of names whose trigrams are looked up one by one.
constexpr std::size_t sampledPostings = 500;

class IndexChecker {
public:
    explicit IndexChecker(const FileIndex& index)
        : index_(index),
          entries_(index.entriesLocked()),
          names_(index.namePoolLocked()),
          folders_(index.directoriesLocked()) {}

    std::vector<std::string> run() {
        checkPlaces();
        // The later checks read names and folders at the places in the entries.
        if (auto violations = violations_.take(); !violations.empty()) return violations;
        checkFields();
        checkNameEnds();
        checkNameRanks();
        checkSignatures();
        checkTombstones();
        checkLists();
        checkFolderTree();
        checkFolderPaths();
        checkFolderEntries();
        checkTrigrams();
        return violations_.take();
    }

private:
    const FileEntry& entryAt(std::size_t id) const { return entries_[id]; }

    /// Names follow each other in the pool without gaps, and folders exist.
    void checkPlaces() {
        std::size_t end = 0;
        for (std::size_t id = 0; id < entries_.size(); ++id) {
            const FileEntry& entry = entryAt(id);
            violations_.require(entry.nameOffset == end, "name places", "entry {}: offset {} instead of {}",
                                id, entry.nameOffset, end);
            violations_.require(entry.nameLen > 0, "name lengths", "entry {}: empty name", id);
            end += entry.nameLen;
            const bool hasFolder =
                entry.dirIndex >= 0 && static_cast<std::size_t>(entry.dirIndex) < folders_.count();
            violations_.require(hasFolder, "folders of entries", "entry {}: no folder {}", id,
                                entry.dirIndex);
        }
        violations_.require(end == names_.size(), "pool size", "{} bytes instead of {}", names_.size(), end);
    }

    void checkFields() {
        constexpr unsigned known = FileEntry::folder | FileEntry::symbolicLink | FileEntry::tombstone;
        for (std::size_t id = 0; id < entries_.size(); ++id) {
            const FileEntry& entry = entryAt(id);
            const std::string_view name = index_.nameLocked(entry);
            violations_.require(name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos,
                                "names", "entry {}: \"{}\"", id, name);
            violations_.require((entry.flags & ~known) == 0, "flags", "entry {}: {}", id, entry.flags);
            violations_.require(!entry.isFolder() || !entry.isSymbolicLink(), "types",
                                "entry {} is a folder and a link", id);
            violations_.require(!entry.isFolder() || entry.size == 0, "folder sizes", "entry {}: {} bytes",
                                id, entry.size);
            const bool isWhole =
                std::trunc(entry.modTime) == entry.modTime && std::trunc(entry.crTime) == entry.crTime;
            violations_.require(isWhole, "whole seconds", "entry {}: {} and {}", id, entry.modTime,
                                entry.crTime);
        }
    }

    /// The bits are set at the last byte of every name, and nowhere else.
    void checkNameEnds() {
        std::vector<std::uint64_t> expected((names_.size() + 63) / 64);
        for (const FileEntry& entry : entries_) {
            const std::size_t last = std::size_t{entry.nameOffset} + entry.nameLen - 1;
            expected[last / 64] |= std::uint64_t{1} << last % 64;
        }
        for (std::size_t word = 0; word < expected.size(); ++word) {
            violations_.require(names_.nameEnds()[word] == expected[word], "name ends",
                                "word {}: {:016x} instead of {:016x}", word, names_.nameEnds()[word],
                                expected[word]);
        }
    }

    void checkNameRanks() {
        violations_.require(names_.nameCount() == entries_.size(), "name count", "{} instead of {}",
                            names_.nameCount(), entries_.size());
        for (std::size_t id = 0; id < entries_.size(); ++id) {
            const std::size_t first = entryAt(id).nameOffset;
            const std::size_t length = entryAt(id).nameLen;
            for (const std::size_t offset : {first, first + length / 2, first + length - 1}) {
                const auto found = static_cast<std::size_t>(names_.nameAt(offset));
                violations_.require(found == id, "name ranks", "byte {} belongs to {}, not {}", offset, id,
                                    found);
            }
            violations_.require(names_.isWithinName(first, length), "name extents", "entry {} is cut", id);
            const bool hasNext = first + length < names_.size();
            violations_.require(!hasNext || !names_.isWithinName(first, length + 1), "name extents",
                                "entry {} runs into the next", id);
        }
    }

    void checkSignatures() {
        const auto signatures = index_.signaturesLocked();
        violations_.require(signatures.size() == entries_.size(), "signature count", "{} instead of {}",
                            signatures.size(), entries_.size());
        for (std::size_t id = 0; id < std::min(signatures.size(), entries_.size()); ++id) {
            const NameSignature expected = nameSignature(index_.nameLocked(entryAt(id)));
            violations_.require(signatures[id] == expected, "signatures",
                                "entry {}: {:08x} instead of {:08x}", id, signatures[id], expected);
        }
    }

    void checkTombstones() {
        EntrySet flagged;
        for (std::size_t id = 0; id < entries_.size(); ++id) {
            if (entryAt(id).isTombstone()) flagged.insertGrowing(static_cast<EntryId>(id));
        }
        violations_.require(flagged.count() == index_.tombstoneCountLocked(), "tombstone count",
                            "{} instead of {}", index_.tombstoneCountLocked(), flagged.count());
        violations_.require(flagged == index_.tombstonesLocked(), "tombstones",
                            "others than the flagged entries");
    }

    /// Every live entry stands once, in the list of its own folder, and the lists ascend.
    void checkLists() {
        std::vector<std::uint8_t> listed(entries_.size());
        for (std::size_t i = 0; i < folders_.count(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            EntryId previous = -1;
            index_.entriesByDirLocked().forEach(folder, [&](EntryId id) {
                const bool exists = id >= 0 && static_cast<std::size_t>(id) < entries_.size();
                violations_.require(exists, "lists", "folder {} lists {}", i, id);
                if (!exists) return;
                ++listed[static_cast<std::size_t>(id)];
                const DirIndex own = entryAt(static_cast<std::size_t>(id)).dirIndex;
                violations_.require(own == folder, "lists", "folder {} lists {}, which lies in {}", i, id,
                                    own);
                violations_.require(id > previous, "list order", "folder {} lists {} behind {}", i, id,
                                    previous);
                previous = id;
            });
        }
        for (std::size_t id = 0; id < listed.size(); ++id) {
            const bool isListed = listed[id] == 1 || (listed[id] == 0 && entryAt(id).isTombstone());
            violations_.require(isListed, "listed entries", "entry {} is listed {} times", id, listed[id]);
        }
    }

    /// Parents stand before their children, and a child is found by its parent and name.
    void checkFolderTree() {
        std::vector<DirIndex> roots;
        for (std::size_t i = 0; i < folders_.count(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            const auto parent = folders_.parent(folder);
            if (!parent) {
                roots.push_back(folder);
                continue;
            }
            violations_.require(*parent >= 0 && *parent < folder, "folder order",
                                "{} stands before its parent {}", i, *parent);
            violations_.require(folders_.findChild(*parent, folders_.name(folder)) == folder,
                                "folder children", "{} is not found by its parent {}", i, *parent);
        }
        violations_.require(roots == folders_.roots(), "folder roots", "{} instead of {}",
                            folders_.roots().size(), roots.size());
    }

    /// A path is built for each folder at a multiple of this, so that all paths stay within the budget.
    std::size_t folderStride() const {
        std::vector<std::size_t> lengths(folders_.count());
        std::size_t total = 0;
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            const auto parent = folders_.parent(folder);
            lengths[i] = folders_.name(folder).size() + 1;
            if (parent) lengths[i] += lengths[static_cast<std::size_t>(*parent)];
            total += lengths[i];
        }
        return total / pathBudgetBytes + 1;
    }

    /// The path of a folder is its parent's path and its name, and leads back to the folder.
    void checkFolderPaths() {
        const std::size_t stride = folderStride();
        for (std::size_t i = 0; i < folders_.count(); i += stride) {
            const auto folder = static_cast<DirIndex>(i);
            const std::string path = folders_.path(folder);
            violations_.require(folders_.find(path) == folder, "folder paths", "{} does not lead back to {}",
                                path, i);
            violations_.require(path == "/" || (path.starts_with('/') && !path.ends_with('/')),
                                "folder paths", "{} is written {}", i, path);
            const auto parent = folders_.parent(folder);
            if (!parent) continue;
            const std::string expected = joinPath(folders_.path(*parent), folders_.name(folder));
            violations_.require(path == expected, "folder paths", "{} instead of {}", path, expected);
        }
    }

    /// A listed folder has its own entry in its parent's list, and that entry leads to it.
    void checkFolderEntries() {
        std::vector<bool> hasEntry(folders_.count());
        for (std::size_t id = 0; id < entries_.size(); ++id) {
            if (!entryAt(id).isFolder()) continue;
            const auto contents = index_.contentsOfLocked(entryAt(id));
            if (contents) hasEntry[static_cast<std::size_t>(*contents)] = true;
        }
        for (std::size_t i = 0; i < hasEntry.size(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            const bool needsEntry =
                folders_.parent(folder).has_value() && index_.entriesByDirLocked().contains(folder);
            violations_.require(hasEntry[i] || !needsEntry, "entries of folders", "folder {} has none", i);
        }
    }

    void checkTrigrams() {
        const TrigramIndex* trigram = index_.trigramLocked();
        if (trigram == nullptr) return;
        std::size_t expected = 0;
        const std::size_t stride = entries_.size() / sampledPostings + 1;
        for (std::size_t id = 0; id < entries_.size(); ++id) {
            const TrigramSet set = TrigramIndex::trigrams(index_.nameLocked(entryAt(id)));
            expected += set.size();
            if (set.empty() || id % stride != 0) continue;
            const auto candidates = trigram->candidates(set);
            const bool isPosted =
                candidates && std::ranges::binary_search(*candidates, static_cast<EntryId>(id));
            violations_.require(isPosted, "trigrams", "entry {} is not found by its own", id);
        }
        violations_.require(trigram->postingCount() == expected, "postings", "{} instead of {}",
                            trigram->postingCount(), expected);
    }

    const FileIndex& index_;
    const std::span<const FileEntry> entries_;
    const NamePool& names_;
    const FolderTable& folders_;
    ViolationList violations_;
};

bool equalEntries(const FileEntry& a, const FileEntry& b) {
    return a.size == b.size && a.modTime == b.modTime && a.crTime == b.crTime &&
           a.nameOffset == b.nameOffset && a.dirIndex == b.dirIndex && a.nameLen == b.nameLen &&
           a.flags == b.flags;
}

std::optional<std::string> folderDifference(const FileIndex& a, const FileIndex& b) {
    const FolderTable& left = a.directoriesLocked();
    const FolderTable& right = b.directoriesLocked();
    const std::size_t shared = std::min(left.count(), right.count());
    for (std::size_t i = 0; i < shared; ++i) {
        const auto folder = static_cast<DirIndex>(i);
        const EntryLists& leftLists = a.entriesByDirLocked();
        const EntryLists& rightLists = b.entriesByDirLocked();
        const bool equalLists = leftLists.contains(folder) == rightLists.contains(folder) &&
                                leftLists.ids(folder) == rightLists.ids(folder);
        if (left.parent(folder) != right.parent(folder) || left.name(folder) != right.name(folder) ||
            !equalLists)
            return fmt::format("folder {} ({})", i, visibleText(left.path(folder)));
    }
    if (left.count() != right.count()) return fmt::format("{} or {} folders", left.count(), right.count());
    return std::nullopt;
}

std::optional<std::string> entryDifference(const FileIndex& a, const FileIndex& b) {
    const auto left = a.entriesLocked();
    const auto right = b.entriesLocked();
    for (std::size_t id = 0; id < std::min(left.size(), right.size()); ++id) {
        if (equalEntries(left[id], right[id]) && a.nameLocked(left[id]) == b.nameLocked(right[id])) continue;
        const std::string folder = a.directoriesLocked().path(left[id].dirIndex);
        return fmt::format("entry {} ({})", id, visibleText(joinPath(folder, a.nameLocked(left[id]))));
    }
    if (left.size() != right.size()) return fmt::format("{} or {} entries", left.size(), right.size());
    return std::nullopt;
}

std::vector<bool> tombstones(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<bool> dead;
    for (const FileEntry& entry : index.entriesLocked())
        dead.push_back(entry.isTombstone());
    return dead;
}

std::vector<std::string> lockedViolations(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    return IndexChecker(index).run();
}

/// Violations in the answers of the operations that take the lock themselves.
std::vector<std::string> publicViolations(const FileIndex& index) {
    ViolationList violations;
    const std::vector<bool> dead = tombstones(index);
    const auto alive = std::ranges::count(dead, false);
    violations.require(index.itemCount() == alive, "item count", "{} instead of {}", index.itemCount(),
                       alive);
    for (std::size_t id = 0; id < dead.size(); id += dead.size() / sampledPaths + 1) {
        const bool hasPath = index.fullPath(static_cast<EntryId>(id)).has_value();
        violations.require(hasPath != dead[id], "paths of entries", "entry {}, {}", id,
                           dead[id] ? "a tombstone, has one" : "alive, has none");
    }
    for (const EntryId id : {EntryId{-1}, static_cast<EntryId>(dead.size())})
        violations.require(!index.fullPath(id), "paths of entries", "there is no entry {}", id);
    return violations.take();
}

}  // namespace

std::vector<std::string> indexViolations(const FileIndex& index) {
    std::vector<std::string> violations = lockedViolations(index);
    return violations.empty() ? publicViolations(index) : violations;
}

std::optional<std::string> indexDifference(const FileIndex& a, const FileIndex& b) {
    const ReadGuard guardA(a.rwlock);
    const ReadGuard guardB(b.rwlock);
    if (auto difference = folderDifference(a, b)) return difference;
    return entryDifference(a, b);
}

}  // namespace dovra
