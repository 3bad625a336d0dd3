#pragma once

#include <string>
#include <string_view>

namespace dovra {

/// The path of the folder that holds what is at `path`, which is absolute, without a slash at its end.
inline std::string parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

}  // namespace dovra
