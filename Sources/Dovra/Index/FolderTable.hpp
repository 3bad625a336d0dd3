#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Base/PodVector.hpp"
#include "Index/FileEntry.hpp"

namespace dovra {

/// The interned folder paths and their inverse: path to position and back.
///
/// A folder below another interned folder is stored as its parent's position and its own name; only a folder
/// whose parent is not interned (the root of a scan) keeps its whole path. So a tree of a hundred thousand
/// levels costs as much as its names. A parent always stands before its children, so a rule on paths can be
/// worked out in one pass, each result from the parent's. The inverse is one hash table over (parent, name),
/// without a string of its own.
///
/// Grows only. Not thread-safe: the index's lock guards it.
class FolderTable {
public:
    std::size_t count() const { return folders_.size(); }

    std::optional<DirIndex> find(std::string_view path) const;
    std::optional<DirIndex> findChild(DirIndex parent, std::string_view name) const;

    /// The position of `path` (absolute, no slash at its end unless it is "/"), added when it is new. Fatal
    /// above 2147483647 folders.
    DirIndex intern(std::string_view path);
    DirIndex internChild(DirIndex parent, std::string_view name);

    /// Makes room for `count` folders in all.
    void reserve(std::size_t count);

    std::string path(DirIndex folder) const;

    /// The length of the path; 0 for "/".
    std::size_t pathBytes(DirIndex folder) const {
        return folders_[static_cast<std::size_t>(folder)].pathBytes;
    }

    /// The stored parent; absent for a folder that keeps its whole path.
    std::optional<DirIndex> parent(DirIndex folder) const {
        const DirIndex stored = folders_[static_cast<std::size_t>(folder)].parent;
        return stored == none ? std::nullopt : std::optional(stored);
    }

    /// The folder's own name, or the whole path of a folder that keeps it. "/" gives "", so that the path of
    /// a child is always parent + "/" + name.
    std::string_view name(DirIndex folder) const {
        const auto next = static_cast<std::size_t>(folder) + 1;
        const std::size_t start = folders_[next - 1].nameOffset;
        const std::size_t end = next < folders_.size() ? folders_[next].nameOffset : names_.size();
        return {names_.data() + start, end - start};
    }

    /// The names of the folders from `first` up to but not including `last`, at least one, back to back.
    std::string_view names(DirIndex first, DirIndex last) const {
        const std::string_view lastName = name(last - 1);
        const char* start = name(first).data();
        return {start, static_cast<std::size_t>(lastName.data() + lastName.size() - start)};
    }

    /// The folders that keep their whole path.
    const std::vector<DirIndex>& roots() const { return roots_; }

    std::size_t memoryBytes() const;

private:
    static constexpr DirIndex none = -1;

    struct Folder {
        DirIndex parent;
        std::uint32_t pathBytes;
        std::size_t nameOffset;  ///< the name ends where the next one begins
    };

    DirIndex addRecord(DirIndex parent, std::string_view name);
    DirIndex addBelow(DirIndex parent, std::string_view name);
    std::optional<DirIndex> findRootBelow(DirIndex parent, std::string_view name) const;
    std::size_t slotOf(DirIndex parent, std::string_view name) const;
    void rebuildSlots(std::size_t count);
    std::optional<DirIndex> descend(DirIndex from, std::string_view relativePath) const;
    std::optional<DirIndex> findSlot(DirIndex parent, std::string_view name) const;

    PodVector<Folder> folders_;
    PodVector<char> names_;
    PodVector<DirIndex> slots_;  ///< open addressing, a power of two, at most half full
    std::vector<DirIndex> roots_;
};

/// Builds folder paths and keeps them, for results whose folders recur in no order. Paths of extraordinary
/// length are built each time: a very deep tree has too many of them to be kept. For one thread; the lock
/// that guards the table is held for the object's lifetime.
class FolderPaths {
public:
    explicit FolderPaths(const FolderTable& folders) : folders_(folders) {}

    /// Valid until the next call.
    std::string_view of(DirIndex folder) {
        if (folder == last_) return lastPath_;
        last_ = folder;
        if (folders_.pathBytes(folder) > longestKept) return lastPath_ = long_ = folders_.path(folder);
        const auto [kept, isNew] = paths_.try_emplace(folder);
        if (isNew) kept->second = folders_.path(folder);
        return lastPath_ = kept->second;
    }

private:
    static constexpr std::size_t longestKept = 4096;

    const FolderTable& folders_;
    std::unordered_map<DirIndex, std::string> paths_;
    std::string long_;
    DirIndex last_ = -1;
    std::string_view lastPath_;
};

}  // namespace dovra
