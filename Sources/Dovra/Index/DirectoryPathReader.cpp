#include "Index/DirectoryPathReader.hpp"

#include <algorithm>

#include "Index/SnapshotFormat.hpp"

namespace dovra {

namespace {

bool isPlainComponent(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('\0') == std::string_view::npos;
}

bool isPlainPath(std::string_view path) {
    if (path == "/") return true;
    if (!path.starts_with('/')) return false;
    for (std::size_t start = 1; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (!isPlainComponent(path.substr(start, end - start))) return false;
        start = end + 1;
    }
    return true;
}

}  // namespace

bool DirectoryPathReader::add(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    // The directory table takes one more slash behind the parent's path for nothing.
    if (slash == std::string_view::npos || (slash > 0 && path[slash - 1] == '/')) return false;
    if (path == "/") return addRoot(path);
    const auto parent = parentOf(path, slash);
    if (!parent) return addRoot(path);
    // The parent's path was checked when it was added.
    const std::string_view name = path.substr(slash + 1);
    if (!isPlainComponent(name)) return false;
    const auto expected = static_cast<DirIndex>(directories_.count());
    if (directories_.internChild(*parent, name) != expected) return false;
    lastPath_ = path;
    last_ = expected;
    return true;
}

bool DirectoryPathReader::addRoot(std::string_view path) {
    const auto expected = static_cast<DirIndex>(directories_.count());
    if (!isPlainPath(path) || directories_.intern(path) != expected) return false;
    lastPath_ = path;
    last_ = expected;
    return directories_.roots().size() <= maxRoots;
}

std::optional<DirIndex> DirectoryPathReader::parentOf(std::string_view path, std::size_t parentBytes) const {
    auto above = last_;
    while (above && directories_.pathBytes(*above) > parentBytes)
        above = directories_.parent(*above);
    const std::string_view parentPath = path.substr(0, parentBytes);
    const bool isParent = above && directories_.pathBytes(*above) == parentBytes &&
                          std::string_view(lastPath_).starts_with(parentPath);
    return isParent ? above : directories_.find(parentBytes == 0 ? "/" : parentPath);
}

}  // namespace dovra
