#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace dovra::test {

/// `least` to `most` bytes, each one of `alphabet`. Names of few letters have much in common.
inline std::string randomText(std::mt19937& random, std::string_view alphabet, std::size_t least,
                              std::size_t most) {
    std::string text(least + random() % (most - least + 1), '\0');
    std::ranges::generate(text, [&] { return alphabet[random() % alphabet.size()]; });
    return text;
}

}  // namespace dovra::test
