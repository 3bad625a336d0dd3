#pragma once

#include <string>
#include <string_view>

namespace dovra {

/// Whether `path` is `folder` or lies below it, by the text alone. Both are absolute, without a slash at the
/// end unless they are "/".
inline bool isAtOrBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

/// The path of `name` in the folder at `folderPath`: one slash between them, also under "/".
inline std::string joinPath(std::string_view folderPath, std::string_view name) {
    std::string path;
    path.reserve(folderPath.size() + 1 + name.size());
    path += folderPath;
    if (folderPath != "/") path += '/';
    path += name;
    return path;
}

/// The path of the folder above `path`, which is absolute, without a slash at its end. A view of `path`.
constexpr std::string_view parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// The last component of `path`, a view of it.
constexpr std::string_view lastName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace dovra
