#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Base/AsciiFold.hpp"

namespace dovra {

/// Three consecutive bytes of a name, ASCII-folded, the first in bits 16 to 23. Non-ASCII bytes count as they
/// are, so a character of three bytes is a trigram of its own.
using Trigram = std::uint32_t;

/// Distinct trigrams in ascending order.
using TrigramSet = std::vector<Trigram>;

inline constexpr std::size_t trigramLength = 3;

/// Calls `visit` with the trigram at every position of `name`, repeats included; not at all for a name of
/// fewer than three bytes.
template <typename Visit>
constexpr void forEachTrigram(std::string_view name, const Visit& visit) {
    Trigram window = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        window = (window << 8 | asciiFold(static_cast<std::uint8_t>(name[i]))) & 0xFFFFFF;
        if (i + 1 >= trigramLength) visit(window);
    }
}

/// The set of the given trigrams.
inline TrigramSet trigramSet(std::vector<Trigram> trigrams) {
    std::ranges::sort(trigrams);
    trigrams.erase(std::unique(trigrams.begin(), trigrams.end()), trigrams.end());
    return trigrams;
}

}  // namespace dovra
