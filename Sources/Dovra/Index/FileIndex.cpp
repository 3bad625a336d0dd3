#include "Index/FileIndex.hpp"

#include "Base/FatalError.hpp"
#include "Base/JoinPath.hpp"

namespace dovra {

const std::set<std::string, std::less<>> FileIndex::skipDirs = {
    "/System/Volumes",
    "/Volumes",
    "/dev",
    "/.Spotlight-V100",
    "/.fseventsd",
    "/.DocumentRevisions-V100",
    "/.TemporaryItems",
    "/.Trashes",
    "/.vol",
    "/private/var/vm",
    "/private/var/folders",
};

void FileIndex::reset() {
    const WriteGuard guard(rwlock);
    directories_.clear();
    entries_.clear();
    entriesByDir_.clear();
    names_.clear();
    signatures_.clear();
    stamps_.clear();
    tombstones_ = 0;
    if (trigram_) trigram_->reset();
    raiseGenerationLocked();
}

void FileIndex::replaceContents(IndexContents contents) {
    const WriteGuard guard(rwlock);
    // The old contents go when the lock is free again.
    std::swap(directories_, contents.directories);
    std::swap(entries_, contents.entries);
    std::swap(entriesByDir_, contents.entriesByDir);
    std::swap(names_, contents.names);
    std::swap(signatures_, contents.signatures);
    std::swap(stamps_, contents.stamps);
    tombstones_ = contents.tombstones;
    raiseGenerationLocked();
    if (!trigram_) return;
    trigram_->reset();
    for (std::size_t id = 0; id < entries_.size(); ++id)
        trigram_->add(static_cast<EntryId>(id), nameLocked(entries_[id]));
}

std::int64_t FileIndex::itemCount() const {
    const ReadGuard guard(rwlock);
    return static_cast<std::int64_t>(entries_.size()) - tombstones_;
}

std::string FileIndex::fullPathLocked(const FileEntry& entry) const {
    return joinPath(directories_.path(entry.dirIndex), nameLocked(entry));
}

std::optional<std::string> FileIndex::fullPath(EntryId id) const {
    const ReadGuard guard(rwlock);
    if (id < 0 || static_cast<std::size_t>(id) >= entries_.size()) return std::nullopt;
    const FileEntry& entry = entries_[static_cast<std::size_t>(id)];
    if (entry.isTombstone()) return std::nullopt;
    return fullPathLocked(entry);
}

std::unordered_map<EntryId, std::string> FileIndex::resolvePathsLocking(std::span<const EntryId> ids) const {
    const ReadGuard guard(rwlock);
    std::unordered_map<EntryId, std::string> paths;
    paths.reserve(ids.size());
    for (const EntryId id : ids) {
        const FileEntry& entry = entries_[static_cast<std::size_t>(id)];
        if (!entry.isFolder() && !entry.isTombstone()) paths.emplace(id, fullPathLocked(entry));
    }
    return paths;
}

std::size_t FileIndex::memoryBytes() const {
    const ReadGuard guard(rwlock);
    return directories_.memoryBytes() + entries_.capacityBytes() + entriesByDir_.memoryBytes() +
           names_.memoryBytes() + signatures_.capacityBytes() + stamps_.capacityBytes();
}

void FileIndex::attachTrigramIndex(std::shared_ptr<TrigramIndex> trigram) {
    const WriteGuard guard(rwlock);
    trigram_ = std::move(trigram);
}

void FileIndex::setFrecency(std::shared_ptr<const RankingBoost> frecency) {
    const WriteGuard guard(rwlock);
    frecency_ = std::move(frecency);
}

void FileIndex::setScanModeOverride(std::optional<ScanMode> mode) {
    const WriteGuard guard(rwlock);
    scanModeOverride_ = mode;
}

std::optional<DirIndex> FileIndex::contentsOfLocked(const FileEntry& folder) const {
    const auto contents = directories_.findChild(folder.dirIndex, nameLocked(folder));
    return contents && entriesByDir_.contains(*contents) ? contents : std::nullopt;
}

DirIndex FileIndex::internDirLocked(std::string_view path) {
    return directories_.intern(path);
}

DirIndex FileIndex::internChildDirLocked(DirIndex parent, std::string_view name) {
    return directories_.internChild(parent, name);
}

FileEntry FileIndex::makeEntryLocked(const RawDirent& raw, DirIndex dirIndex) {
    FileEntry entry{};
    entry.size = raw.size;
    entry.modTime = raw.modTime;
    entry.crTime = raw.crTime;
    entry.nameOffset = names_.append(raw.name);
    entry.dirIndex = dirIndex;
    entry.nameLen = static_cast<std::uint16_t>(raw.name.size());
    entry.flags = static_cast<std::uint8_t>((raw.isDir ? FileEntry::folder : 0) |
                                            (raw.isSymlink ? FileEntry::symbolicLink : 0));
    return entry;
}

EntryId FileIndex::appendEntryLocked(const RawDirent& raw, DirIndex dirIndex) {
    if (static_cast<std::int64_t>(entries_.size()) >= maxEntries) fatalError("more than 2147483647 entries");
    const auto id = static_cast<EntryId>(entries_.size());
    entries_.push_back(makeEntryLocked(raw, dirIndex));
    signatures_.push_back(nameSignature(raw.name));
    if (trigram_) trigram_->add(id, raw.name);
    return id;
}

void FileIndex::storeListingLocked(DirIndex folder, const DirectoryListing& listing,
                                   const FolderStamp& stamp) {
    // A folder that is renamed while its parent is read can be listed twice, and is then walked twice.
    if (entriesByDir_.contains(folder)) forgetContentsLocked(folder);
    const auto first = static_cast<EntryId>(entries_.size());
    for (std::size_t i = 0; i < listing.count(); ++i)
        appendEntryLocked(listing[i], folder);
    entriesByDir_.assignRun(folder, {first, static_cast<std::int32_t>(listing.count())});
    setStampLocked(folder, stamp);
    raiseGenerationLocked();
}

void FileIndex::setStampLocked(DirIndex folder, const FolderStamp& stamp) {
    const auto position = static_cast<std::size_t>(folder);
    if (position >= stamps_.size()) stamps_.resizeZeroed(position + 1);
    stamps_[position] = stamp;
}

void FileIndex::tombstoneLocked(EntryId id) {
    FileEntry& entry = entries_[static_cast<std::size_t>(id)];
    if (entry.isTombstone()) return;
    entry.flags |= FileEntry::tombstone;
    ++tombstones_;
}

void FileIndex::tombstoneSubtreeLocked(std::string_view path) {
    std::vector<DirIndex> tops;
    if (const auto top = directories_.find(path)) tops.push_back(*top);
    // A folder that a scan began at can lie below `path` without a chain of entries that leads to it.
    const std::string below = joinPath(path, "");
    for (const DirIndex root : directories_.roots()) {
        if (directories_.path(root).starts_with(below)) tops.push_back(root);
    }
    for (const DirIndex top : tops) {
        if (!entriesByDir_.contains(top)) continue;
        forgetContentsLocked(top);
        assignListLocked(top, {});
    }
}

void FileIndex::forgetContentsLocked(DirIndex folder) {
    std::vector<DirIndex> pending = {folder};
    while (!pending.empty()) {
        const DirIndex next = pending.back();
        pending.pop_back();
        for (const EntryId id : entriesByDir_.ids(next)) {
            const FileEntry& entry = entries_[static_cast<std::size_t>(id)];
            if (const auto contents = entry.isFolder() ? contentsOfLocked(entry) : std::nullopt)
                pending.push_back(*contents);
            tombstoneLocked(id);
        }
        entriesByDir_.forget(next);
        setStampLocked(next, {});
    }
}

void FileIndex::refreshEntryLocked(EntryId id, const RawDirent& raw) {
    FileEntry& entry = entries_[static_cast<std::size_t>(id)];
    entry.size = raw.size;
    entry.modTime = raw.modTime;
    entry.crTime = raw.crTime;
}

}  // namespace dovra
