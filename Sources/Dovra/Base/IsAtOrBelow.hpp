#pragma once

#include <string_view>

namespace dovra {

/// Whether `path` is `folder` or lies below it, by the text alone. Both are absolute, without a slash at the
/// end unless they are "/".
inline bool isAtOrBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace dovra
