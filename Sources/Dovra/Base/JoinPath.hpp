#pragma once

#include <string>
#include <string_view>

namespace dovra {

/// The path of `name` in the folder at `folderPath`: one slash between them, also under "/".
inline std::string joinPath(std::string_view folderPath, std::string_view name) {
    std::string path;
    path.reserve(folderPath.size() + 1 + name.size());
    path += folderPath;
    if (folderPath != "/") path += '/';
    path += name;
    return path;
}

}  // namespace dovra
