#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "Base/ConcurrentPerform.hpp"

namespace dovra {

/// Sorts on all processors: each sorts a share, then neighbours are merged. Small arrays are sorted on the
/// calling thread. `comesBefore` must order any two different elements, as the sort is not stable.
template <typename T, typename Less>
void concurrentSort(std::vector<T>& values, const Less& comesBefore) {
    constexpr std::size_t smallestShare = 16384;
    const std::size_t shares = std::min(activeProcessorCount(), values.size() / smallestShare);
    if (shares < 2) {
        std::ranges::sort(values, comesBefore);
        return;
    }
    const auto border = [&](std::size_t share) {
        return values.begin() + static_cast<std::ptrdiff_t>(values.size() * std::min(share, shares) / shares);
    };
    concurrentPerform(shares, [&](std::size_t i) { std::sort(border(i), border(i + 1), comesBefore); });
    for (std::size_t width = 1; width < shares; width *= 2) {
        concurrentPerform((shares + 2 * width - 1) / (2 * width), [&](std::size_t i) {
            const std::size_t first = i * 2 * width;
            std::inplace_merge(border(first), border(first + width), border(first + 2 * width), comesBefore);
        });
    }
}

}  // namespace dovra
