#include "Query/PathOrder.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/PathText.hpp"

// Paths share long beginnings, so comparing them in full is slow. Most paths need no comparison, because only
// the first `limit` are wanted. The order of paths is the order of a walk that takes, in each folder, the
// entries by name and the subfolders by name and a slash. Such a walk goes over the folders that hold an
// entry to be ordered, sorts only the folders that it enters, and stops when enough entries are found.
//
// Folders whose paths differ only in case have the same place in the order, so they are entered together.

namespace dovra {

namespace {

class PathWalk {
public:
    PathWalk(const FileIndex& index, const std::vector<EntryId>& ids, bool ascending)
        : index_(index), folders_(index.directoriesLocked()), ascending_(ascending) {
        groupEntries(ids);
        linkFolders();
    }

    std::vector<EntryId> first(DirIndex root, std::int64_t limit) {
        std::vector<EntryId> ordered;
        std::vector<Level> levels;
        levels.push_back(enter({root}));
        while (!levels.empty() && std::ssize(ordered) < limit) {
            Level& level = levels.back();
            if (level.next == level.items.size()) {
                levels.pop_back();
            } else if (!level.items[level.next].isFolder) {
                ordered.push_back(level.items[level.next++].id);
            } else {
                levels.push_back(enter(takeFolders(level)));
            }
        }
        return ordered;
    }

private:
    /// An entry to be ordered, or a subfolder that holds some.
    struct Item {
        std::string_view name;
        bool isFolder;
        std::int32_t id;  ///< the entry's identifier, or the folder's position
    };

    struct Level {
        std::vector<Item> items;
        std::size_t next = 0;
    };

    using InFolder = std::pair<DirIndex, EntryId>;
    static constexpr DirIndex none = -1;

    void groupEntries(const std::vector<EntryId>& ids) {
        constexpr std::size_t ahead = 24;  // entries lie all over memory
        const FileEntry* entries = index_.entriesLocked().data();
        entries_.reserve(ids.size());
        for (std::size_t i = 0; i < ids.size(); ++i) {
            if (i + ahead < ids.size()) __builtin_prefetch(entries + ids[i + ahead]);
            entries_.emplace_back(entries[ids[i]].dirIndex, ids[i]);
        }
        if (!std::ranges::is_sorted(entries_)) std::ranges::sort(entries_);
    }

    /// Finds the folders on the way from the root to each folder that holds an entry.
    void linkFolders() {
        std::vector<bool> seen(folders_.count());
        firstSubfolder_.assign(folders_.count(), none);
        nextSubfolder_.assign(folders_.count(), none);
        for (const auto& [folder, id] : entries_) {
            DirIndex at = folder;
            while (!seen[static_cast<std::size_t>(at)]) {
                seen[static_cast<std::size_t>(at)] = true;
                const auto parent = folders_.parent(at);
                if (!parent) break;
                DirIndex& first = firstSubfolder_[static_cast<std::size_t>(*parent)];
                nextSubfolder_[static_cast<std::size_t>(at)] = first;
                first = at;
                at = *parent;
            }
        }
    }

    Level enter(const std::vector<DirIndex>& folders) const {
        Level level;
        for (const DirIndex folder : folders) {
            for (const auto& [parent, id] : std::ranges::equal_range(entries_, folder, {}, &InFolder::first))
                level.items.push_back({index_.nameLocked(id), false, id});
            DirIndex child = firstSubfolder_[static_cast<std::size_t>(folder)];
            for (; child != none; child = nextSubfolder_[static_cast<std::size_t>(child)])
                level.items.push_back({folders_.name(child), true, child});
        }
        std::ranges::sort(level.items, [this](const Item& a, const Item& b) {
            const int order = compare(a, b);
            return order != 0 ? (order < 0) == ascending_ : a.id < b.id;
        });
        return level;
    }

    /// The next folder of the level, with the folders that differ from it only in case.
    static std::vector<DirIndex> takeFolders(Level& level) {
        const Item first = level.items[level.next];
        std::vector<DirIndex> folders;
        while (level.next < level.items.size() && compare(level.items[level.next], first) == 0) {
            folders.push_back(level.items[level.next++].id);
        }
        return folders;
    }

    /// Compares as if every folder's name ended in a slash.
    static int compare(const Item& a, const Item& b) {
        const std::size_t shared = std::min(a.name.size(), b.name.size());
        const int order = compareAsciiFolded(a.name.substr(0, shared), b.name.substr(0, shared));
        return order != 0 ? order : next(a, shared) - next(b, shared);
    }

    /// The byte of the item's text at a position not beyond its name; -1 behind an entry's name.
    static int next(const Item& item, std::size_t at) {
        if (at < item.name.size()) return asciiFold(static_cast<std::uint8_t>(item.name[at]));
        return item.isFolder ? '/' : -1;
    }

    const FileIndex& index_;
    const FolderTable& folders_;
    const bool ascending_;
    std::vector<InFolder> entries_;         ///< (folder, entry), sorted
    std::vector<DirIndex> firstSubfolder_;  ///< by folder: the first subfolder that leads to an entry
    std::vector<DirIndex> nextSubfolder_;   ///< by subfolder: the next one in the same folder
};

/// For an index with several roots, whose trees may lie within each other.
std::vector<EntryId> orderByWholePaths(const FileIndex& index, const std::vector<EntryId>& ids,
                                       bool ascending, std::int64_t limit) {
    std::vector<std::pair<std::string, EntryId>> paths;
    paths.reserve(ids.size());
    for (const EntryId id : ids) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        const std::string folder = index.directoriesLocked().path(entry.dirIndex);
        paths.emplace_back(asciiFolded(joinPath(folder, index.nameLocked(entry))), id);
    }
    std::ranges::sort(paths, [ascending](const auto& a, const auto& b) {
        const int order = a.first.compare(b.first);
        return order != 0 ? (order < 0) == ascending : a.second < b.second;
    });
    std::vector<EntryId> ordered;
    for (std::size_t i = 0; i < paths.size() && std::ssize(ordered) < limit; ++i)
        ordered.push_back(paths[i].second);
    return ordered;
}

}  // namespace

std::vector<EntryId> pathOrderLocked(const FileIndex& index, std::vector<EntryId> ids, bool ascending,
                                     std::int64_t limit) {
    if (ids.empty()) return ids;
    const std::vector<DirIndex> roots = index.directoriesLocked().roots();
    if (roots.size() > 1) return orderByWholePaths(index, ids, ascending, limit);
    return PathWalk(index, ids, ascending).first(roots.front(), limit);
}

}  // namespace dovra
