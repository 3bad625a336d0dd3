#include "Base/ByteText.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>

#include "Base/Utf8.hpp"

namespace dovra {

namespace {

void appendEscaped(std::string& text, char byte) {
    text += '\0';
    fmt::format_to(std::back_inserter(text), "{:02X}", static_cast<std::uint8_t>(byte));
}

/// The byte that the two digits at the start of `text` stand for; absent when they are not what
/// `textFromBytes` writes.
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
