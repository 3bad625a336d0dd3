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
    if (slash == std::string_view::npos) return false;
    if (path == "/") return addRoot(path);
    const auto parent = parentOf(path, slash);
    if (!parent) return addRoot(path);
    // The parent's path was checked when it was added.
    const std::string_view name = path.substr(slash + 1);
    if (!isPlainComponent(name)) return false;
    const auto expected = static_cast<DirIndex>(directories_.count());
    if (directories_.internChild(*parent, name) != expected) return false;
    lastPath_ = path;
    ancestors_.push_back({path.size(), expected});
    return true;
}

bool DirectoryPathReader::addRoot(std::string_view path) {
    const auto expected = static_cast<DirIndex>(directories_.count());
    if (!isPlainPath(path) || directories_.intern(path) != expected) return false;
    lastPath_ = path;
    ancestors_ = {{path == "/" ? 0 : path.size(), expected}};
    return directories_.roots().size() <= maxRoots;
}

std::optional<DirIndex> DirectoryPathReader::parentOf(std::string_view path, std::size_t parentLength) {
    const auto differs = std::ranges::mismatch(lastPath_, path);
    const auto shared = static_cast<std::size_t>(differs.in1 - lastPath_.begin());
    const std::size_t longest = std::min(shared, parentLength);
    const auto isAbove = [&](const Ancestor& ancestor) {
        return ancestor.length <= longest && path[ancestor.length] == '/';
    };
    while (!ancestors_.empty() && !isAbove(ancestors_.back()))
        ancestors_.pop_back();
    if (!ancestors_.empty() && ancestors_.back().length == parentLength) return ancestors_.back().folder;
    return directories_.find(parentLength == 0 ? "/" : path.substr(0, parentLength));
}

}  // namespace dovra
