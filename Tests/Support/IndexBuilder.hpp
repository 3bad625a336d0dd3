#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/PathText.hpp"
#include "Index/FileIndex.hpp"

namespace dovra::test {

/// An entry of an index that is made without a disk. The path of a folder ends in "/".
struct IndexItem {
    std::string path;
    std::uint64_t size = 0;
    double modTime = 0;

    // Implicit, so that a list of paths is a list of items.
    IndexItem(const char* itemPath) : path(itemPath) {}  // NOLINT(google-explicit-constructor)
    // NOLINTNEXTLINE(google-explicit-constructor)
    IndexItem(std::string itemPath, std::uint64_t itemSize = 0, double itemModTime = 0)
        : path(std::move(itemPath)), size(itemSize), modTime(itemModTime) {}
};

/// Items sorted into the listings of their folders.
struct ItemListings {
    /// Adds an item, after the folders on its way. A path that is known already is left as it is.
    void add(const IndexItem& item, const std::string& root) {
        const bool isDir = item.path.ends_with('/');
        const std::string path = item.path.substr(0, item.path.size() - (isDir ? 1 : 0));
        if (path.size() <= root.size() || !paths.insert(path).second) return;
        const std::string parent(parentPath(path));
        add(parent + "/", root);
        listings[parent].add({lastName(path), isDir, false, item.size, item.modTime, item.modTime});
    }

    std::set<std::string> paths;
    std::map<std::string, FolderListing> listings;
};

/// Adds items, all below `root`, to an index in the order of a scan of that root.
inline void addTree(FileIndex& index, const std::vector<IndexItem>& items, const std::string& root = "/") {
    ItemListings tree;
    for (const IndexItem& item : items)
        tree.add(item, root);
    const WriteGuard guard(index.rwlock);
    std::vector<std::string> stack = {root};
    while (!stack.empty()) {
        const std::string path = std::move(stack.back());
        stack.pop_back();
        const DirIndex folder = index.internDirLocked(path);
        const FolderListing& listing = tree.listings[path];
        index.storeListingLocked(folder, listing);
        for (std::size_t i = 0; i < listing.count(); ++i) {
            if (listing[i].isDir) stack.push_back(joinPath(path, listing[i].name));
        }
    }
}

inline std::unique_ptr<FileIndex> makeIndex(const std::vector<IndexItem>& items) {
    auto index = std::make_unique<FileIndex>();
    addTree(*index, items);
    return index;
}

/// The full path of every entry by its identifier, tombstones included.
inline std::vector<std::string> allPaths(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<std::string> paths;
    for (const FileEntry& entry : index.entriesLocked()) {
        const std::string folder = index.directoriesLocked().path(entry.dirIndex);
        paths.push_back(joinPath(folder, index.nameLocked(entry)));
    }
    return paths;
}

/// The entry with a full path; -1 when there is none.
inline EntryId idOf(const FileIndex& index, std::string_view path) {
    const std::vector<std::string> paths = allPaths(index);
    const auto found = std::ranges::find(paths, path);
    return found == paths.end() ? -1 : static_cast<EntryId>(found - paths.begin());
}

}  // namespace dovra::test
