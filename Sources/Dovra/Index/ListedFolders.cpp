#include "Index/ListedFolders.hpp"

#include <algorithm>

namespace dovra {

bool ListedFolders::isTooDeep(DirIndex folder) const {
    return pathBytes_[static_cast<std::size_t>(folder)] > maxAskedPathBytes;
}

std::vector<ListedFolder> ListedFolders::next(const FileIndex& index, std::size_t count) {
    const ReadGuard guard(index.rwlock);
    const DirectoryTable& directories = index.directoriesLocked();
    std::vector<ListedFolder> folders;
    for (; folders.size() < count && position_ < directories.count(); ++position_) {
        const auto folder = static_cast<DirIndex>(position_);
        const auto parent = directories.parent(folder);
        if (position_ == pathBytes_.size()) {
            const std::size_t above = parent ? pathBytes_[static_cast<std::size_t>(*parent)] + 1 : 0;
            const std::size_t bytes = above + directories.name(folder).size();
            pathBytes_.push_back(static_cast<std::uint16_t>(std::min(bytes, maxAskedPathBytes + 1)));
        }
        if (!index.entriesByDirLocked().contains(folder)) continue;
        if (!isTooDeep(folder)) {
            folders.push_back({.position = folder, .path = pathOf(directories, folder)});
        } else if (!parent || !isTooDeep(*parent)) {
            const std::string path = pathOf(directories, parent.value_or(folder));
            folders.push_back({.position = folder, .path = path, .isTooDeep = true});
        }
    }
    return folders;
}

/// In the order of a scan a folder lies in the one before it or in one above that: its path is the last one,
/// cut, and its name.
std::string ListedFolders::pathOf(const DirectoryTable& directories, DirIndex folder) {
    const auto parent = directories.parent(folder);
    while (!steps_.empty() && steps_.back().folder != parent)
        steps_.pop_back();
    if (steps_.empty()) {
        path_ = parent ? directories.path(*parent) : "";
        if (path_ == "/") path_.clear();
        if (parent) steps_.push_back({*parent, path_.size()});
    } else {
        path_.resize(steps_.back().pathBytes);
    }
    if (parent) path_ += '/';
    path_ += directories.name(folder);
    steps_.push_back({folder, path_.size()});
    return path_.empty() ? "/" : path_;
}

}  // namespace dovra
