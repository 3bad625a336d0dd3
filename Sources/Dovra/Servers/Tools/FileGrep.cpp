#include "Servers/Tools/FileGrep.hpp"

#include <algorithm>
#include <span>

#include "Base/Utf8.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

namespace {

constexpr std::size_t binaryTestBytes = 8192;
constexpr std::size_t readBytes = std::size_t{1024} * 1024;
/// A block of text is searched as a whole first. Only one with a hit is searched line by line.
constexpr std::size_t blockBytes = std::size_t{64} * 1024;

/// Reads on in the file until `bytes` has that size or the file ends. False when reading fails.
bool readUpTo(std::size_t size, const RegularFile& file, const std::stop_token& stop, std::string& bytes) {
    while (bytes.size() < size && !stop.stop_requested()) {
        const std::size_t known = bytes.size();
        bytes.resize(std::min(size, known + readBytes));
        const auto count = file.readAt(known, std::span(bytes).subspan(known));
        bytes.resize(known + count.value_or(0));
        if (!count) return false;
        if (*count == 0) break;
    }
    return true;
}

/// The start of the file. Empty for a binary file, absent when reading fails.
std::optional<std::string> readText(const RegularFile& file, const std::stop_token& stop) {
    std::string bytes;
    if (!readUpTo(binaryTestBytes, file, stop, bytes)) return std::nullopt;
    if (bytes.find('\0') != std::string::npos) return std::string();
    if (bytes.size() == binaryTestBytes && !readUpTo(mostGrepBytes, file, stop, bytes)) return std::nullopt;
    return bytes;
}

/// Removes about a block of whole lines from the start of the text, and returns them.
std::string_view takeBlock(std::string_view& text) {
    const std::size_t end = text.find('\n', std::min(blockBytes, text.size()));
    const std::string_view block = text.substr(0, end == std::string_view::npos ? end : end + 1);
    text.remove_prefix(block.size());
    return block;
}

std::string_view takeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

}  // namespace

std::string cleanLine(std::string_view line) {
    constexpr std::size_t mostCharacters = 240;
    // In UTF-8, and one character more, by which a longer line shows.
    constexpr std::size_t enoughBytes = 4 * (mostCharacters + 1);
    line = line.substr(0, line.find_last_not_of("\r \t") + 1);
    std::string text = repairUtf8(line.substr(0, enoughBytes));
    std::size_t characters = 0;
    const auto startsOneTooMany = [&](char c) {
        const bool continuesCharacter = (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
        return !continuesCharacter && ++characters > mostCharacters;
    };
    const auto cut = std::ranges::find_if(text, startsOneTooMany);
    if (cut == text.end()) return text;
    text.erase(cut, text.end());
    return text + "…";
}

std::optional<std::vector<MatchingLine>> grepFile(const std::string& path, const TextNeedle& needle,
                                                  std::size_t mostLines, const std::stop_token& stop) {
    const auto file = RegularFile::open(path);
    const auto bytes = file ? readText(*file, stop) : std::nullopt;
    if (!bytes) return std::nullopt;
    std::vector<MatchingLine> lines;
    std::int64_t number = 0;
    for (std::string_view rest = *bytes; !rest.empty() && !stop.stop_requested();) {
        std::string_view block = takeBlock(rest);
        if (!needle.foundIn(block)) {
            number += std::ranges::count(block, '\n');
            continue;
        }
        while (!block.empty()) {
            const std::string_view line = takeLine(block);
            ++number;
            if (!needle.foundIn(line)) continue;
            lines.push_back({number, cleanLine(line)});
            if (lines.size() == mostLines) return lines;
        }
    }
    return lines;
}

}  // namespace dovra
