#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Base/AsciiFold.hpp"

namespace dovra {

/// Which kinds of bytes a name holds, ASCII-folded: one bit for each letter, one for all digits, and so on. A
/// name can contain a pattern, as a substring or as a subsequence, under either case rule, only if its
/// signature has every bit of the pattern's: a test of one word rules out most names before their bytes are
/// read.
using NameSignature = std::uint32_t;

namespace signatureBit {
inline constexpr NameSignature digit = NameSignature{1} << 26;
inline constexpr NameSignature nonAscii = NameSignature{1} << 27;
inline constexpr NameSignature dot = NameSignature{1} << 28;
inline constexpr NameSignature dashOrUnderscore = NameSignature{1} << 29;
inline constexpr NameSignature space = NameSignature{1} << 30;
inline constexpr NameSignature other = NameSignature{1} << 31;
}  // namespace signatureBit

inline constexpr std::array<NameSignature, 256> signatureOfByte = [] {
    std::array<NameSignature, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        const auto value = static_cast<std::uint8_t>(byte);
        NameSignature bit = signatureBit::other;
        if (value >= 128) bit = signatureBit::nonAscii;
        if (isAsciiLetter(value)) bit = NameSignature{1} << (asciiFold(value) - 'a');
        if (value >= '0' && value <= '9') bit = signatureBit::digit;
        if (value == '.') bit = signatureBit::dot;
        if (value == '-' || value == '_') bit = signatureBit::dashOrUnderscore;
        if (value == ' ') bit = signatureBit::space;
        table[byte] = bit;
    }
    return table;
}();

constexpr NameSignature nameSignature(std::string_view name) {
    NameSignature signature = 0;
    for (const char c : name)
        signature |= signatureOfByte[static_cast<std::uint8_t>(c)];
    return signature;
}

}  // namespace dovra
