#include "Preview/TextHead.hpp"

#include <algorithm>

#include "Base/Utf8.hpp"

namespace dovra {

namespace {

/// A control character that text has no use for; the escape character styles logs.
bool isForeignControl(char c) {
    constexpr std::string_view usual = "\t\n\v\f\r\b\x1b";
    return static_cast<unsigned char>(c) < 0x20 && usual.find(c) == std::string_view::npos;
}

/// The bytes without a last character that may be incomplete.
std::string_view withoutCutCharacter(std::string_view bytes) {
    constexpr std::size_t longestCharacter = 4;
    for (std::size_t back = 1; back <= std::min(longestCharacter, bytes.size()); ++back) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if (byte >= 0xC0) return bytes.substr(0, bytes.size() - back);
        if (byte < 0x80) break;
    }
    return bytes;
}

}  // namespace

std::optional<std::string> textOfHead(std::string_view head) {
    constexpr std::size_t textForOneControl = 32;
    const auto controls = static_cast<std::size_t>(std::ranges::count_if(head, isForeignControl));
    if (head.find('\0') != std::string_view::npos || controls * textForOneControl > head.size() ||
        head.starts_with("%PDF-"))
        return std::nullopt;
    return repairUtf8(head.size() < textHeadBytes ? head : withoutCutCharacter(head));
}

bool isDrawing(std::string_view head) {
    // Comments and a byte order mark may stand in front.
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    constexpr std::size_t furthest = 4096;
    if (head.starts_with(byteOrderMark)) head.remove_prefix(byteOrderMark.size());
    const std::string_view start = head.substr(0, furthest);
    return trimmedWhiteSpace(start).starts_with('<') && start.find("<svg") != std::string_view::npos;
}

}  // namespace dovra
