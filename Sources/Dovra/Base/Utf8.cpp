#include "Base/Utf8.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include "Base/AsciiFold.hpp"
#include "Base/Print.hpp"

namespace dovra {

namespace {

/// Decodes the code point at `position` and moves past it; negative for a maximal ill-formed subpart.
UChar32 nextCodePoint(std::string_view bytes, std::size_t& position) {
    // The macro takes signed 32-bit indices; a window keeps them small for texts of any length.
    const auto* start = reinterpret_cast<const std::uint8_t*>(bytes.data()) + position;
    const auto window = static_cast<std::int32_t>(std::min<std::size_t>(bytes.size() - position, 4));
    std::int32_t length = 0;
    UChar32 codePoint = 0;
    U8_NEXT(start, length, window, codePoint);
    position += static_cast<std::size_t>(length);
    return codePoint;
}

bool isControl(UChar32 codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F);
}

std::string escapedControl(UChar32 codePoint) {
    switch (codePoint) {
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        case '\r':
            return "\\r";
        default:
            return fmt::format("\\x{:02X}", static_cast<unsigned>(codePoint));
    }
}

std::size_t columnsOf(UChar32 codePoint) {
    if (codePoint < 0) return 1;  // shown as a replacement character
    constexpr std::uint32_t combining = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
    if ((U_GET_GC_MASK(codePoint) & combining) != 0) return 0;
    const std::int32_t width = u_getIntPropertyValue(codePoint, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

}  // namespace

bool isValidUtf8(std::string_view bytes) {
    return isAscii(bytes) || wellFormedPrefix(bytes) == bytes.size();
}

std::size_t wellFormedPrefix(std::string_view bytes) {
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t start = position;
        if (nextCodePoint(bytes, position) < 0) return start;
    }
    return bytes.size();
}

std::string repairUtf8(std::string_view bytes) {
    if (isValidUtf8(bytes)) return std::string(bytes);
    std::string repaired;
    repaired.reserve(bytes.size() + replacementCharacter.size());
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t start = position;
        const bool valid = nextCodePoint(bytes, position) >= 0;
        repaired += valid ? bytes.substr(start, position - start) : replacementCharacter;
    }
    return repaired;
}

std::string visibleText(std::string_view bytes) {
    std::string visible;
    visible.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t start = position;
        const UChar32 codePoint = nextCodePoint(bytes, position);
        if (codePoint < 0) {
            visible += replacementCharacter;
        } else if (isControl(codePoint)) {
            visible += escapedControl(codePoint);
        } else {
            visible += bytes.substr(start, position - start);
        }
    }
    return visible;
}

std::string_view trimmedWhiteSpace(std::string_view bytes) {
    std::size_t first = bytes.size();
    std::size_t last = 0;
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t start = position;
        const UChar32 codePoint = nextCodePoint(bytes, position);
        if (codePoint >= 0 && u_isUWhiteSpace(codePoint) != 0) continue;
        first = std::min(first, start);
        last = position;
    }
    return first < last ? bytes.substr(first, last - first) : std::string_view();
}

std::string_view firstCharacters(std::string_view utf8, std::size_t count) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUTextPointer text(
        utext_openUTF8(nullptr, utf8.data(), static_cast<std::int64_t>(utf8.size()), &status));
    const icu::LocalUBreakIteratorPointer breaks(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
    ubrk_setUText(breaks.getAlias(), text.getAlias(), &status);
    if (U_FAILURE(status)) fatalError("the Unicode library has no rules for the ends of characters");
    while (count > 0 && ubrk_next(breaks.getAlias()) != UBRK_DONE)
        --count;
    return utf8.substr(0, static_cast<std::size_t>(ubrk_current(breaks.getAlias())));
}

std::size_t displayColumns(std::string_view bytes) {
    std::size_t columns = 0;
    for (std::size_t position = 0; position < bytes.size();)
        columns += columnsOf(nextCodePoint(bytes, position));
    return columns;
}

namespace {

void appendEscaped(std::string& text, char byte) {
    text += '\0';
    fmt::format_to(std::back_inserter(text), "{:02X}", static_cast<std::uint8_t>(byte));
}

/// The byte of the two digits at the start of `text`; absent for digits that `textFromBytes` does not write.
std::optional<char> escapedByte(std::string_view text) {
    const std::string_view digits = text.substr(0, 2);
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    const bool isWhole = digits.size() == 2 && error == std::errc{} && end == digits.data() + digits.size();
    if (!isWhole || (byte != 0 && byte < 0x80) || fmt::format("{:02X}", byte) != digits) return std::nullopt;
    return static_cast<char>(byte);
}

}  // namespace

std::string textFromBytes(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t wellFormed = wellFormedPrefix(bytes);
        for (const char c : bytes.substr(0, wellFormed))
            c == '\0' ? appendEscaped(text, c) : text.push_back(c);
        bytes.remove_prefix(wellFormed);
        if (bytes.empty()) break;
        appendEscaped(text, bytes.front());
        bytes.remove_prefix(1);
    }
    return text;
}

std::optional<std::string> bytesFromText(std::string_view text) {
    if (!isValidUtf8(text)) return std::nullopt;
    std::string bytes;
    bytes.reserve(text.size());
    while (true) {
        const std::size_t escape = std::min(text.find('\0'), text.size());
        bytes += text.substr(0, escape);
        text.remove_prefix(escape);
        if (text.empty()) return bytes;
        const auto byte = escapedByte(text.substr(1));
        if (!byte) return std::nullopt;
        bytes += *byte;
        text.remove_prefix(3);
    }
}

}  // namespace dovra
