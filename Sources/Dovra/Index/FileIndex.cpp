#include "Index/FileIndex.hpp"

#include <functional>
#include <utility>

#include "Base/PathText.hpp"
#include "Base/Print.hpp"
#include "Platform/Process.hpp"

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

namespace {

std::size_t refreshedSlot(DirIndex folder, std::string_view name) {
    const std::size_t hash = std::hash<std::string_view>{}(name) + static_cast<std::size_t>(folder);
    return hash % std::tuple_size_v<decltype(IndexContents::refreshed)>;
}

}  // namespace

// Freeing millions of entries takes a while, so former contents are freed after the lock is released.

void FileIndex::reset() {
    IndexContents gone;
    const WriteGuard guard(rwlock);
    std::swap(contents_, gone);
    std::swap(contents_.trigram, gone.trigram);
    if (contents_.trigram) contents_.trigram->reset();
    raiseGenerationLocked();
}

IndexContents FileIndex::takeContents() {
    const WriteGuard guard(rwlock);
    raiseGenerationLocked();
    return std::exchange(contents_, {});
}

void FileIndex::replaceContents(IndexContents contents) {
    const WriteGuard guard(rwlock);
    std::swap(contents_, contents);
    raiseGenerationLocked();
}

std::int64_t FileIndex::itemCount() const {
    const ReadGuard guard(rwlock);
    return static_cast<std::int64_t>(contents_.entries.size()) - contents_.tombstoneCount;
}

std::string FileIndex::fullPathLocked(const FileEntry& entry) const {
    return joinPath(contents_.directories.path(entry.dirIndex), nameLocked(entry));
}

std::optional<std::string> FileIndex::fullPath(EntryId id) const {
    const ReadGuard guard(rwlock);
    if (id < 0 || static_cast<std::size_t>(id) >= contents_.entries.size()) return std::nullopt;
    const FileEntry& entry = contents_.entries[static_cast<std::size_t>(id)];
    if (entry.isTombstone()) return std::nullopt;
    return fullPathLocked(entry);
}

std::unordered_map<EntryId, std::string> FileIndex::resolvePathsLocking(std::span<const EntryId> ids) const {
    const ReadGuard guard(rwlock);
    std::unordered_map<EntryId, std::string> paths;
    paths.reserve(ids.size());
    for (const EntryId id : ids) {
        const FileEntry& entry = contents_.entries[static_cast<std::size_t>(id)];
        if (!entry.isFolder() && !entry.isTombstone()) paths.emplace(id, fullPathLocked(entry));
    }
    return paths;
}

std::size_t FileIndex::memoryBytes() const {
    const ReadGuard guard(rwlock);
    return contents_.directories.memoryBytes() + contents_.entries.capacityBytes() +
           contents_.entriesByDir.memoryBytes() + contents_.names.memoryBytes() +
           contents_.signatures.capacityBytes() + contents_.stamps.capacityBytes() +
           contents_.tombstones.memoryBytes();
}

void FileIndex::gatherIntoLargePages() const {
    const ReadGuard guard(rwlock);
    const auto gather = [](const void* start, std::size_t bytes) {
        dovra::gatherIntoLargePages(start, bytes);
    };
    contents_.names.forEachArray(gather);
    gather(contents_.signatures.data(), contents_.signatures.span().size_bytes());
    gather(contents_.entries.data(), contents_.entries.span().size_bytes());
}

void FileIndex::attachTrigramIndex(std::shared_ptr<TrigramIndex> trigram) {
    const WriteGuard guard(rwlock);
    std::swap(contents_.trigram, trigram);
}

bool FileIndex::hasTrigramIndex() const {
    const ReadGuard guard(rwlock);
    return contents_.trigram != nullptr;
}

void FileIndex::setFrecency(std::shared_ptr<const RankingBoost> frecency) {
    const WriteGuard guard(rwlock);
    frecency_ = std::move(frecency);
}

void FileIndex::setScanModeOverride(std::optional<ScanMode> mode) {
    const WriteGuard guard(rwlock);
    scanModeOverride_ = mode;
}

std::optional<DirIndex> FileIndex::listedFolder(std::string_view path) const {
    const ReadGuard guard(rwlock);
    const auto folder = contents_.directories.find(path);
    return folder && contents_.entriesByDir.contains(*folder) ? folder : std::nullopt;
}

std::optional<DirIndex> FileIndex::contentsOfLocked(const FileEntry& folder) const {
    const auto contents = contents_.directories.findChild(folder.dirIndex, nameLocked(folder));
    return contents && contents_.entriesByDir.contains(*contents) ? contents : std::nullopt;
}

std::optional<EntryId> FileIndex::findRefreshedLocked(DirIndex folder, std::string_view name) const {
    if (contents_.entries.empty()) return std::nullopt;
    const EntryId id = contents_.refreshed[refreshedSlot(folder, name)];
    const FileEntry& entry = contents_.entries[static_cast<std::size_t>(id)];
    const bool isIt = !entry.isTombstone() && entry.dirIndex == folder && nameLocked(entry) == name;
    return isIt ? std::optional(id) : std::nullopt;
}

DirIndex FileIndex::internDirLocked(std::string_view path) {
    return contents_.directories.intern(path);
}

DirIndex FileIndex::internChildDirLocked(DirIndex parent, std::string_view name) {
    return contents_.directories.internChild(parent, name);
}

EntryId FileIndex::appendEntryLocked(const RawDirent& raw, DirIndex dirIndex) {
    if (static_cast<std::int64_t>(contents_.entries.size()) >= maxEntries)
        fatalError("more than 2147483647 entries");
    const auto id = static_cast<EntryId>(contents_.entries.size());
    FileEntry entry{};
    entry.size = raw.size;
    entry.modTime = raw.modTime;
    entry.crTime = raw.crTime;
    entry.nameOffset = contents_.names.append(raw.name);
    entry.dirIndex = dirIndex;
    entry.nameLen = static_cast<std::uint16_t>(raw.name.size());
    entry.flags = static_cast<std::uint8_t>((raw.isDir ? FileEntry::folder : 0) |
                                            (raw.isSymlink ? FileEntry::symbolicLink : 0));
    contents_.entries.push_back(entry);
    contents_.signatures.push_back(nameSignature(raw.name));
    if (contents_.trigram) contents_.trigram->add(id, raw.name);
    return id;
}

void FileIndex::storeListingLocked(DirIndex folder, const FolderListing& listing, const FolderStamp& stamp) {
    // A folder that is renamed while its parent is read can be listed twice, and is then walked twice.
    if (contents_.entriesByDir.contains(folder)) forgetContentsLocked(folder);
    const auto first = static_cast<EntryId>(contents_.entries.size());
    for (std::size_t i = 0; i < listing.count(); ++i)
        appendEntryLocked(listing[i], folder);
    contents_.entriesByDir.assignRun(folder, {first, static_cast<std::int32_t>(listing.count())});
    setStampLocked(folder, stamp);
    raiseGenerationLocked();
}

void FileIndex::setStampLocked(DirIndex folder, const FolderStamp& stamp) {
    const auto position = static_cast<std::size_t>(folder);
    if (position >= contents_.stamps.size()) contents_.stamps.resizeZeroed(position + 1);
    contents_.stamps[position] = stamp;
}

void FileIndex::tombstoneLocked(EntryId id) {
    FileEntry& entry = contents_.entries[static_cast<std::size_t>(id)];
    if (entry.isTombstone()) return;
    entry.flags |= FileEntry::tombstone;
    contents_.tombstones.insertGrowing(id);
    ++contents_.tombstoneCount;
}

void FileIndex::tombstoneSubtreeLocked(std::string_view path) {
    std::vector<DirIndex> tops;
    if (const auto top = contents_.directories.find(path)) tops.push_back(*top);
    // A root of a scan can lie below `path` without a chain of entries that leads to it.
    const std::string below = joinPath(path, "");
    for (const DirIndex root : contents_.directories.roots()) {
        if (contents_.directories.path(root).starts_with(below)) tops.push_back(root);
    }
    for (const DirIndex top : tops) {
        if (!contents_.entriesByDir.contains(top)) continue;
        forgetContentsLocked(top);
        assignListLocked(top, {});
    }
}

void FileIndex::forgetContentsLocked(DirIndex folder) {
    std::vector<DirIndex> pending = {folder};
    while (!pending.empty()) {
        const DirIndex next = pending.back();
        pending.pop_back();
        for (const EntryId id : contents_.entriesByDir.ids(next)) {
            const FileEntry& entry = contents_.entries[static_cast<std::size_t>(id)];
            if (const auto contents = entry.isFolder() ? contentsOfLocked(entry) : std::nullopt)
                pending.push_back(*contents);
            tombstoneLocked(id);
        }
        contents_.entriesByDir.forget(next);
        setStampLocked(next, {});
    }
}

void FileIndex::refreshEntryLocked(EntryId id, const RawDirent& raw) {
    FileEntry& entry = contents_.entries[static_cast<std::size_t>(id)];
    entry.size = raw.size;
    entry.modTime = raw.modTime;
    entry.crTime = raw.crTime;
    contents_.refreshed[refreshedSlot(entry.dirIndex, nameLocked(entry))] = id;
}

}  // namespace dovra
