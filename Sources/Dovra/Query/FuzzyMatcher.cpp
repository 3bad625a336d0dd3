#include "Query/FuzzyMatcher.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "Base/AsciiFold.hpp"

namespace dovra {

namespace {

constexpr std::int32_t matchScore = 16;
constexpr std::int32_t gapStartPenalty = 3;
constexpr std::int32_t gapExtensionPenalty = 1;
constexpr std::int32_t afterWhitespaceBonus = 10;
constexpr std::int32_t afterDelimiterBonus = 9;
constexpr std::int32_t afterOtherAsciiBonus = 8;
/// Camel case, a letter before a digit, a digit before a letter.
constexpr std::int32_t transitionBonus = 7;
constexpr std::int32_t consecutiveBonus = 4;
constexpr std::int32_t firstByteBonusFactor = 2;

enum class ByteClass : std::uint8_t { whitespace, delimiter, otherAscii, lower, upper, digit, nonAscii };
constexpr std::size_t classCount = 7;

constexpr ByteClass classify(unsigned byte) {
    if (byte >= 128) return ByteClass::nonAscii;
    const char c = static_cast<char>(byte);
    if (c == ' ' || c == '\t') return ByteClass::whitespace;
    if (std::string_view(",-./:;_").find(c) != std::string_view::npos) return ByteClass::delimiter;
    if (c >= 'a' && c <= 'z') return ByteClass::lower;
    if (c >= 'A' && c <= 'Z') return ByteClass::upper;
    if (c >= '0' && c <= '9') return ByteClass::digit;
    return ByteClass::otherAscii;
}

constexpr std::array<ByteClass, 256> byteClasses = [] {
    std::array<ByteClass, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte)
        table[byte] = classify(byte);
    return table;
}();

constexpr bool isWordClass(ByteClass c) {
    return c == ByteClass::lower || c == ByteClass::upper || c == ByteClass::digit ||
           c == ByteClass::nonAscii;
}

/// The bonus for a byte that starts a word, 0 when it does not.
constexpr std::int32_t wordStartBonus(ByteClass previous, ByteClass current) {
    if (!isWordClass(current)) return 0;
    switch (previous) {
        case ByteClass::whitespace:
            return afterWhitespaceBonus;
        case ByteClass::delimiter:
            return afterDelimiterBonus;
        case ByteClass::otherAscii:
            return afterOtherAsciiBonus;
        case ByteClass::lower:
            return current == ByteClass::upper || current == ByteClass::digit ? transitionBonus : 0;
        case ByteClass::digit:
            return current != ByteClass::digit ? transitionBonus : 0;
        case ByteClass::upper:
        case ByteClass::nonAscii:
            return 0;
    }
    return 0;
}

using BonusTable = std::array<std::array<std::int32_t, classCount>, classCount>;
constexpr BonusTable bonuses = [] {
    BonusTable table{};
    for (std::size_t previous = 0; previous < classCount; ++previous) {
        for (std::size_t current = 0; current < classCount; ++current)
            table[previous][current] =
                wordStartBonus(static_cast<ByteClass>(previous), static_cast<ByteClass>(current));
    }
    return table;
}();

std::int32_t boundaryBonus(ByteClass previous, ByteClass current) {
    return bonuses[static_cast<std::size_t>(previous)][static_cast<std::size_t>(current)];
}

/// A run of matches without a gap. The best bonus of a word start is carried to the later bytes of the run.
/// So "foo" at the start of a word beats "foo" within one by more than its first byte.
struct Run {
    bool isOpen = false;
    std::int32_t carried = 0;

    /// The bonus for the next match, given its boundary bonus (0 for none).
    std::int32_t extend(std::int32_t boundary) {
        if (!isOpen) {
            isOpen = true;
            carried = boundary;
            return boundary;
        }
        if (carried >= std::max(boundary, consecutiveBonus + 1)) return carried;
        // Camel case and digits count where they stand and are not carried on.
        if (boundary > transitionBonus) carried = boundary;
        return boundary == 0 ? consecutiveBonus : boundary;
    }
};

template <bool caseSensitive>
std::optional<std::int32_t> scoreOf(std::string_view pattern, std::string_view name) {
    const auto normalised = [&](std::size_t i) { return caseSensitive ? name[i] : asciiFold(name[i]); };
    const auto classAt = [&](std::size_t i) { return byteClasses[static_cast<std::uint8_t>(name[i])]; };

    std::size_t at = 0;
    while (at < name.size() && normalised(at) != pattern[0])
        ++at;  // bytes before the first match cost nothing
    ByteClass previous = at == 0 ? ByteClass::whitespace : classAt(at - 1);

    std::int32_t score = 0;
    bool inGap = false;
    Run run;
    for (std::size_t p = 0; name.size() - at >= pattern.size() - p; ++at) {
        const ByteClass current = classAt(at);
        if (normalised(at) == pattern[p]) {
            const std::int32_t bonus = run.extend(boundaryBonus(previous, current));
            score += matchScore + (p == 0 ? bonus * firstByteBonusFactor : bonus);
            inGap = false;
            if (++p == pattern.size()) return std::max(score, 0);
        } else {
            score -= inGap ? gapExtensionPenalty : gapStartPenalty;
            inGap = true;
            run.isOpen = false;
        }
        previous = current;
    }
    return std::nullopt;
}

}  // namespace

FuzzyMatcher::FuzzyMatcher(std::string_view term, bool caseSensitive)
    : pattern_(caseSensitive ? std::string(term) : asciiFolded(term)), caseSensitive_(caseSensitive) {}

std::optional<std::int32_t> FuzzyMatcher::score(std::string_view name) const {
    if (pattern_.empty()) return 0;
    return caseSensitive_ ? scoreOf<true>(pattern_, name) : scoreOf<false>(pattern_, name);
}

bool smartCaseSensitive(std::string_view text) {
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t position = 0; position < length;) {
        UChar32 codePoint = 0;
        U8_NEXT(text.data(), position, length, codePoint);
        if (codePoint < 0) continue;
        const bool isUppercase = codePoint < 128
                                     ? byteClasses[static_cast<std::size_t>(codePoint)] == ByteClass::upper
                                     : u_hasBinaryProperty(codePoint, UCHAR_UPPERCASE) != 0;
        if (isUppercase) return true;
    }
    return false;
}

}  // namespace dovra
