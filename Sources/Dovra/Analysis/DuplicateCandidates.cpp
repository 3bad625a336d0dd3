#include "Analysis/DuplicateCandidates.hpp"

#include <algorithm>

#include "Base/PathText.hpp"

namespace dovra {

namespace {

using Item = DuplicateFinder::Item;

bool isCandidate(const FileEntry& entry) {
    return !entry.isFolder() && !entry.isSymbolicLink() && !entry.isTombstone();
}

/// The entry of the item; null when the entry has changed or is gone.
const FileEntry* currentEntryLocked(const FileIndex& index, const Item& item) {
    const auto entries = index.entriesLocked();
    if (static_cast<std::size_t>(item.id) >= entries.size()) return nullptr;
    const FileEntry& entry = entries[static_cast<std::size_t>(item.id)];
    return isCandidate(entry) && entry.size == item.size ? &entry : nullptr;
}

/// A bit for each identifier below `end`: whether it is a member of a group.
std::vector<bool> membership(std::span<const DuplicateFinder::SizeGroup> groups, std::size_t end) {
    std::vector<bool> isMember(end);
    for (const DuplicateFinder::SizeGroup& group : groups) {
        for (const EntryId id : group.ids)
            isMember[static_cast<std::size_t>(id)] = true;
    }
    return isMember;
}

}  // namespace

std::vector<Item> duplicateItemsLocked(const FileIndex& index, std::span<const EntryId> ids) {
    std::vector<Item> items;
    for (const EntryId id : ids) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        if (isCandidate(entry)) items.push_back({id, entry.size});
    }
    return items;
}

DuplicateCandidates::DuplicateCandidates(const FileIndex& index, std::span<const Item> items)
    : groups_(DuplicateFinder::sizeGroups(items)) {
    copyPaths(index, items);
}

void DuplicateCandidates::copyPaths(const FileIndex& index, std::span<const Item> items) {
    if (items.empty()) return;
    const auto isMember = membership(groups_, static_cast<std::size_t>(items.back().id) + 1);
    const ReadGuard guard(index.rwlock);
    generation_ = index.generation();
    DirIndex folder = -1;
    for (const Item& item : items) {
        if (!isMember[static_cast<std::size_t>(item.id)]) continue;
        const FileEntry* entry = currentEntryLocked(index, item);
        if (entry == nullptr) continue;
        if (entry->dirIndex != folder) {
            folder = entry->dirIndex;
            folders_.push_back(index.directoriesLocked().path(folder));
        }
        const auto folderPosition = static_cast<std::uint32_t>(folders_.size() - 1);
        files_.push_back({item.id, folderPosition, names_.size(), entry->nameLen});
        names_.append(index.nameLocked(*entry).data(), entry->nameLen);
    }
}

std::optional<std::string> DuplicateCandidates::path(EntryId id) const {
    const auto file = std::ranges::lower_bound(files_, id, {}, &File::id);
    if (file == files_.end() || file->id != id) return std::nullopt;
    return joinPath(folders_[file->folder], {names_.data() + file->nameOffset, file->nameLen});
}

bool DuplicateCandidates::isCurrentLocked(const FileIndex& index, EntryId id, std::uint64_t size) const {
    if (index.generation() == generation_) return true;
    const FileEntry* entry = currentEntryLocked(index, {id, size});
    if (entry == nullptr) return false;
    // Entries keep their positions, unless the index was emptied and filled again.
    return path(id) == joinPath(index.directoriesLocked().path(entry->dirIndex), index.nameLocked(*entry));
}

}  // namespace dovra
