#include "Desktop/Model/PreviewLines.hpp"

namespace dovra {

namespace {

/// The length of the line end at the start of the text; 0 when there is none.
std::size_t lineEnd(std::string_view text) {
    for (const std::string_view end : {"\r\n", "\n", "\r", "\u2028", "\u2029"})
        if (text.starts_with(end)) return end.size();
    return 0;
}

/// The length of the first character of a text that is not empty.
std::size_t firstCharacter(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
        ++length;
    return length;
}

}  // namespace

PreviewLines previewLines(std::string_view utf8) {
    PreviewLines lines;
    std::size_t count = 1;
    for (std::size_t column = 0; !utf8.empty();) {
        const std::size_t end = lineEnd(utf8);
        if (end > 0 || column == PreviewLines::longest) {
            lines.isCut = count++ == PreviewLines::most && utf8.size() > end;
            if (lines.isCut) break;
            lines.text += '\n';
            utf8.remove_prefix(end);
            column = 0;
        } else {
            const std::size_t length = firstCharacter(utf8);
            lines.text += utf8.substr(0, length);
            utf8.remove_prefix(length);
            ++column;
        }
    }
    return lines;
}

}  // namespace dovra
