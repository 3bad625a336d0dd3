#include "Index/FolderTable.hpp"

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>

#include "Base/PathText.hpp"
#include "Base/Print.hpp"

namespace dovra {

namespace {

std::size_t hashOf(DirIndex parent, std::string_view name) {
    // Multiplying by the golden ratio spreads neighbouring parents over the table (Knuth, TAOCP 6.4).
    const auto mixed = static_cast<std::size_t>(static_cast<std::uint32_t>(parent)) * 0x9E3779B97F4A7C15U;
    return std::hash<std::string_view>{}(name) ^ mixed;
}

/// "/" is stored as "", so that a child's path is always its parent's text, "/" and a name.
std::string_view withoutRootSlash(std::string_view path) {
    return path == "/" ? std::string_view{} : path;
}

}  // namespace

std::string FolderTable::path(DirIndex folder) const {
    std::string path(pathBytes(folder), '/');
    for (std::optional<DirIndex> at = folder; at; at = parent(*at)) {
        const std::string_view part = name(*at);
        std::ranges::copy(part, path.data() + pathBytes(*at) - part.size());
    }
    return path.empty() ? "/" : path;
}

std::optional<DirIndex> FolderTable::descend(DirIndex from, std::string_view relativePath) const {
    std::optional<DirIndex> at = from;
    while (at && !relativePath.empty()) {
        const std::size_t slash = std::min(relativePath.find('/'), relativePath.size());
        at = findSlot(*at, relativePath.substr(0, slash));
        relativePath.remove_prefix(std::min(slash + 1, relativePath.size()));
    }
    return at;
}

std::optional<DirIndex> FolderTable::find(std::string_view path) const {
    const std::string_view text = withoutRootSlash(path);
    for (const DirIndex root : roots_) {
        const std::string_view start = name(root);
        if (!text.starts_with(start)) continue;
        if (text.size() == start.size()) return root;
        if (text[start.size()] != '/') continue;
        if (const auto found = descend(root, text.substr(start.size() + 1))) return found;
    }
    return std::nullopt;
}

std::optional<DirIndex> FolderTable::findChild(DirIndex parent, std::string_view name) const {
    const auto found = findSlot(parent, name);
    return found ? found : findRootBelow(parent, name);
}

/// A folder may have been interned with its whole path before its parent was.
std::optional<DirIndex> FolderTable::findRootBelow(DirIndex parent, std::string_view name) const {
    if (roots_.size() < 2) return std::nullopt;
    const std::string whole = std::string(withoutRootSlash(path(parent))).append("/").append(name);
    const auto root =
        std::ranges::find_if(roots_, [&](DirIndex candidate) { return this->name(candidate) == whole; });
    return root == roots_.end() ? std::nullopt : std::optional(*root);
}

DirIndex FolderTable::intern(std::string_view path) {
    if (const auto found = find(path)) return *found;
    if (path != "/" && path.find('/') != std::string_view::npos) {
        if (const auto parent = find(parentPath(path))) return addBelow(*parent, lastName(path));
    }
    const DirIndex root = addRecord(none, withoutRootSlash(path));
    roots_.push_back(root);
    return root;
}

DirIndex FolderTable::internChild(DirIndex parent, std::string_view name) {
    if (roots_.size() > 1) {
        if (const auto found = findChild(parent, name)) return *found;
    }
    return addBelow(parent, name);
}

/// The position of the folder, which is added when it is new. One search in the hash table serves both.
DirIndex FolderTable::addBelow(DirIndex parent, std::string_view name) {
    if ((folders_.size() + 1) * 2 > slots_.size()) rebuildSlots(std::max<std::size_t>(16, slots_.size() * 2));
    const std::size_t slot = slotOf(parent, name);
    if (slots_[slot] == none) slots_[slot] = addRecord(parent, name);
    return slots_[slot];
}

DirIndex FolderTable::addRecord(DirIndex parent, std::string_view name) {
    if (folders_.size() > std::numeric_limits<DirIndex>::max()) fatalError("more than 2147483647 folders");
    const auto folder = static_cast<DirIndex>(folders_.size());
    const std::size_t bytesAbove = parent == none ? 0 : pathBytes(parent) + 1;
    folders_.push_back({.parent = parent,
                        .pathBytes = static_cast<std::uint32_t>(bytesAbove + name.size()),
                        .nameOffset = names_.size()});
    names_.append(name.data(), name.size());
    return folder;
}

std::size_t FolderTable::slotOf(DirIndex parent, std::string_view name) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = hashOf(parent, name) & mask;
    while (slots_[slot] != none) {
        const DirIndex folder = slots_[slot];
        if (folders_[static_cast<std::size_t>(folder)].parent == parent && this->name(folder) == name) break;
        slot = (slot + 1) & mask;
    }
    return slot;
}

std::optional<DirIndex> FolderTable::findSlot(DirIndex parent, std::string_view name) const {
    if (slots_.empty()) return std::nullopt;
    const DirIndex folder = slots_[slotOf(parent, name)];
    return folder == none ? std::nullopt : std::optional(folder);
}

void FolderTable::reserve(std::size_t count) {
    folders_.reserve(count);
    const std::size_t needed = std::bit_ceil(std::max<std::size_t>(8, count)) * 2;
    if (needed > slots_.size()) rebuildSlots(needed);
}

void FolderTable::rebuildSlots(std::size_t count) {
    slots_.clear();
    std::fill_n(slots_.extend(count), count, none);
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        if (folders_[i].parent != none) slots_[slotOf(folders_[i].parent, name(folder))] = folder;
    }
}

std::size_t FolderTable::memoryBytes() const {
    return folders_.capacityBytes() + names_.capacityBytes() + slots_.capacityBytes();
}

}  // namespace dovra
