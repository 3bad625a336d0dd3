#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace dovra {

/// The engine's case rule for bytes: "A" to "Z" become "a" to "z", every other byte stays as it is. A table,
/// because a branch on the letter range is mispredicted on mixed text.
inline constexpr std::array<std::uint8_t, 256> asciiFoldTable = [] {
    std::array<std::uint8_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        const bool isUpper = byte >= 'A' && byte <= 'Z';
        table[byte] = static_cast<std::uint8_t>(isUpper ? byte + 32 : byte);
    }
    return table;
}();

constexpr std::uint8_t asciiFold(std::uint8_t byte) {
    return asciiFoldTable[byte];
}

constexpr char asciiFold(char c) {
    return static_cast<char>(asciiFoldTable[static_cast<std::uint8_t>(c)]);
}

constexpr bool isAsciiLetter(std::uint8_t byte) {
    return asciiFold(byte) >= 'a' && asciiFold(byte) <= 'z';
}

inline std::string asciiFolded(std::string_view text) {
    std::string folded(text);
    std::ranges::transform(folded, folded.begin(), [](char c) { return asciiFold(c); });
    return folded;
}

/// Whether two byte strings are equal under ASCII folding of both.
constexpr bool equalAsciiFolded(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, {}, [](char c) { return asciiFold(c); }, [](char c) { return asciiFold(c); });
}

/// Whether `text`, folded if `fold`, equals `expected`, which is folded already.
constexpr bool equalFolding(std::string_view text, std::string_view expected, bool fold) {
    if (!fold) return text == expected;
    return std::ranges::equal(text, expected, {}, [](char c) { return asciiFold(c); });
}

/// Three-way comparison of the folded bytes over the shorter length; then the shorter string comes first.
/// Negative, zero or positive like `memcmp`.
constexpr int compareAsciiFolded(std::string_view a, std::string_view b) {
    const std::size_t shared = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < shared; ++i) {
        const int left = static_cast<std::uint8_t>(asciiFold(a[i]));
        const int right = static_cast<std::uint8_t>(asciiFold(b[i]));
        if (left != right) return left - right;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

/// Whether every byte is below 128.
constexpr bool isAscii(std::string_view text) {
    std::uint8_t seen = 0;
    for (const char c : text)
        seen = static_cast<std::uint8_t>(seen | static_cast<std::uint8_t>(c));
    return seen < 128;
}

}  // namespace dovra
