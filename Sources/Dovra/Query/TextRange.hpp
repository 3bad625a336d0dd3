#pragma once

#include <cstddef>

namespace dovra {

/// Bytes of a text, from `begin` to just before `end`.
struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;

    bool operator==(const TextRange&) const = default;
};

}  // namespace dovra
