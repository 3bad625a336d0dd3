#pragma once

#include <cstdint>

namespace dovra {

/// Files, folders or both. A link counts as a file, whatever it leads to.
enum class TypeFilter : std::uint8_t { any, fileOnly, folderOnly };

constexpr bool matches(TypeFilter filter, bool isFolder) {
    return filter == TypeFilter::any || (filter == TypeFilter::folderOnly) == isFolder;
}

}  // namespace dovra
