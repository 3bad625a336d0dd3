#include "Servers/Http/ShownText.hpp"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <optional>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "Base/Utf8.hpp"

namespace dovra {

namespace {

/// The text in place of the character; absent when it is shown unchanged.
std::optional<std::string> escapeOf(UChar32 codePoint, std::string_view bytes) {
    // Joiners shape the letters and pictures beside them, and are harmless.
    if (codePoint < 0 || codePoint == 0x200C || codePoint == 0x200D) return std::nullopt;
    const std::uint32_t category = U_GET_GC_MASK(codePoint);
    if ((category & U_GC_CC_MASK) != 0) return visibleText(bytes);
    if ((category & (U_GC_CF_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) == 0) return std::nullopt;
    return fmt::format("\\u{:04X}", static_cast<std::uint32_t>(codePoint));
}

void append(std::vector<ShownPiece>& pieces, std::string_view text, bool isMarked, bool isEscape) {
    const bool continues =
        !pieces.empty() && pieces.back().isMarked == isMarked && pieces.back().isEscape == isEscape;
    if (!continues) pieces.push_back({.text = {}, .isMarked = isMarked, .isEscape = isEscape});
    pieces.back().text += text;
}

}  // namespace

std::vector<ShownPiece> shownPieces(std::string_view bytes, std::span<const TextRange> marks) {
    std::vector<ShownPiece> pieces;
    auto mark = marks.begin();
    for (std::size_t at = 0; at < bytes.size();) {
        mark = std::find_if(mark, marks.end(), [&](const TextRange& range) { return range.end > at; });
        const bool isMarked = mark != marks.end() && mark->begin <= at;
        const std::string_view window = bytes.substr(at, 4);
        std::int32_t length = 0;
        UChar32 codePoint = 0;
        U8_NEXT(window.data(), length, static_cast<std::int32_t>(window.size()), codePoint);
        const std::string_view character = window.substr(0, static_cast<std::size_t>(length));
        const auto escape = escapeOf(codePoint, character);
        append(pieces, escape ? *escape : repairUtf8(character), isMarked, escape.has_value());
        at += character.size();
    }
    return pieces;
}

std::string shownText(std::string_view bytes) {
    std::string text;
    for (const ShownPiece& piece : shownPieces(bytes, {}))
        text += piece.text;
    return text;
}

}  // namespace dovra
