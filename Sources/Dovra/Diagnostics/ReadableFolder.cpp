#include "Diagnostics/ReadableFolder.hpp"

#include <fmt/format.h>

#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "Platform/OpenFolder.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

std::optional<std::string> readableFolder(std::string_view path) {
    std::optional<std::string> folder = standardizedPath(path);
    if (folder && OpenFolder::open(*folder)) return folder;
    printError("dovra: cannot read the folder {}{}\n", visibleText(path),
               folder ? "" : fmt::format(": {}", noCurrentFolder));
    return std::nullopt;
}

}  // namespace dovra
