#pragma once

#include <cstdint>

namespace dovra {

/// The number of bits that are set. The build is for every x86-64 processor, whose first ones have no
/// instruction for it, so the standard library's count is the call of a function. (Knuth, TAOCP 7.1.3.)
constexpr unsigned countBits(std::uint64_t word) {
    word -= word >> 1 & 0x5555555555555555;
    word = (word & 0x3333333333333333) + (word >> 2 & 0x3333333333333333);
    word = (word + (word >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return static_cast<unsigned>(word * 0x0101010101010101 >> 56);
}

}  // namespace dovra
