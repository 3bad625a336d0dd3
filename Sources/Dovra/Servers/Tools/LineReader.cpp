#include "Servers/Tools/LineReader.hpp"

#include <string_view>
#include <utility>

namespace dovra {

namespace {

constexpr std::size_t bufferBytes = std::size_t{64} * 1024;

}  // namespace

LineReader::LineReader(Read read, std::size_t mostBytes)
    : read_(std::move(read)), mostBytes_(mostBytes), buffer_(bufferBytes) {}

std::optional<LineReader::Line> LineReader::next() {
    Line line;
    bool hasBytes = false;
    while (!unread_.empty() || refill()) {
        hasBytes = true;
        const std::string_view bytes(unread_.data(), unread_.size());
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (line.text.size() + piece.size() > mostBytes_) line = {.text = {}, .isTooLong = true};
        if (!line.isTooLong) line.text += piece;
        unread_ = unread_.subspan(end == std::string_view::npos ? piece.size() : end + 1);
        if (end != std::string_view::npos) return line;
    }
    if (!hasBytes) return std::nullopt;
    return line;
}

bool LineReader::refill() {
    unread_ = std::span<const char>(buffer_).first(read_(buffer_));
    return !unread_.empty();
}

}  // namespace dovra
