#pragma once

#include <cstdint>

#include "Base/AsciiFold.hpp"

namespace dovra {

/// A byte to look for; of a letter both cases at once, where case does not count: setting the bit 0x20 maps
/// exactly these two to the small letter. One comparison, which fits vector instructions.
struct BytePattern {
    std::uint8_t mask = 0;
    std::uint8_t value = 0;

    static constexpr BytePattern of(char c, bool fold) {
        const auto byte = static_cast<std::uint8_t>(fold ? asciiFold(c) : c);
        return {.mask = static_cast<std::uint8_t>(fold && isAsciiLetter(byte) ? 0x20 : 0), .value = byte};
    }

    /// 0 where the byte matches.
    constexpr std::uint8_t difference(std::uint8_t byte) const {
        return static_cast<std::uint8_t>((byte | mask) ^ value);
    }
};

}  // namespace dovra
