#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Base/AsciiFold.hpp"

namespace dovra {

/// Which kinds of bytes occur in a text, a bit a kind: 0 to 25 the letters without regard to case, then the
/// bits below. A name can contain a pattern, in one piece or scattered, only if its signature has all of the
/// pattern's bits: one `and` rejects most names before any is read. Since case is folded away, the test is
/// valid for case-sensitive and case-insensitive search alike.
using NameSignature = std::uint32_t;

inline constexpr unsigned digitBit = 26;
inline constexpr unsigned nonAsciiBit = 27;
inline constexpr unsigned dotBit = 28;
inline constexpr unsigned dashOrUnderscoreBit = 29;
inline constexpr unsigned spaceBit = 30;
inline constexpr unsigned otherAsciiBit = 31;

/// The signature of a text of one byte.
inline constexpr std::array<NameSignature, 256> byteSignatures = [] {
    const auto bitOf = [](unsigned byte) -> unsigned {
        if (byte >= 128) return nonAsciiBit;
        if (isAsciiLetter(static_cast<std::uint8_t>(byte)))
            return asciiFold(static_cast<std::uint8_t>(byte)) - unsigned{'a'};
        if (byte >= '0' && byte <= '9') return digitBit;
        if (byte == '.') return dotBit;
        if (byte == '-' || byte == '_') return dashOrUnderscoreBit;
        if (byte == ' ') return spaceBit;
        return otherAsciiBit;
    };
    std::array<NameSignature, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte)
        table[byte] = NameSignature{1} << bitOf(byte);
    return table;
}();

/// The signature of `name`; 0 only for the empty text.
constexpr NameSignature nameSignature(std::string_view name) {
    NameSignature signature = 0;
    for (const char c : name)
        signature |= byteSignatures[static_cast<std::uint8_t>(c)];
    return signature;
}

}  // namespace dovra
