#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/JoinPath.hpp"
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

/// Sorts items into listings and stores these in the order in which a scan would.
class IndexBuilder {
public:
    explicit IndexBuilder(std::string root) : root_(std::move(root)) { listings_[root_]; }

    /// Adds an item, after the folders on its way. A path that was added before is left as it is.
    void add(const IndexItem& item) {
        const bool isDir = item.path.ends_with('/');
        const std::string path = item.path.substr(0, item.path.size() - (isDir ? 1 : 0));
        if (path.size() <= root_.size() || !paths_.insert(path).second) return;
        const std::size_t slash = path.rfind('/');
        const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
        add(parent + "/");
        const std::string_view name = std::string_view(path).substr(slash + 1);
        listings_[parent].add({.name = name,
                               .isDir = isDir,
                               .size = item.size,
                               .modTime = item.modTime,
                               .crTime = item.modTime});
        if (isDir) listings_[path];
    }

    void storeIn(FileIndex& index) const {
        const WriteGuard guard(index.rwlock);
        std::vector<std::pair<std::optional<DirIndex>, std::string>> stack = {{std::nullopt, root_}};
        while (!stack.empty()) {
            const auto [parent, path] = std::move(stack.back());
            stack.pop_back();
            const DirIndex folder =
                parent ? index.internChildDirLocked(*parent, path.substr(path.rfind('/') + 1))
                       : index.internDirLocked(path);
            const DirectoryListing& listing = listings_.at(path);
            index.storeListingLocked(folder, listing);
            for (std::size_t i = 0; i < listing.count(); ++i) {
                if (listing[i].isDir) stack.emplace_back(folder, joinPath(path, listing[i].name));
            }
        }
    }

private:
    std::string root_;
    std::set<std::string> paths_;
    std::map<std::string, DirectoryListing> listings_;
};

/// Adds items, all below `root`, to an index as a scan of that root would.
inline void addTree(FileIndex& index, const std::vector<IndexItem>& items, const std::string& root = "/") {
    IndexBuilder builder(root);
    for (const IndexItem& item : items)
        builder.add(item);
    builder.storeIn(index);
}

inline std::unique_ptr<FileIndex> makeIndex(const std::vector<IndexItem>& items) {
    auto index = std::make_unique<FileIndex>();
    addTree(*index, items);
    return index;
}

/// The full path of every entry by its identifier, those of tombstones included.
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
