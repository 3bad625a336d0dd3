#include "Query/ContentMatcher.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

namespace {

constexpr std::size_t byteBlock = std::size_t{1024} * 1024;
/// Smaller, so that the converted text and its intermediate forms stay in the processor's cache. Also, one
/// accented letter forces the conversion of less ASCII around it.
constexpr std::size_t unicodeBlock = std::size_t{64} * 1024;

/// Searches one piece of the file for a needle, and tells how much of the piece's end an occurrence may share
/// with the next piece.
struct ByteSearch {
    const ByteNeedle& needle;

    std::size_t overlap() const { return needle.size(); }
    std::size_t bufferSize() const { return byteBlock + overlap(); }
    bool foundIn(std::string_view piece) const { return needle.foundIn(piece); }
    std::size_t pieceLength(std::string_view text) const { return text.size(); }
    std::size_t overlapStart(std::string_view piece) const {
        return piece.size() - std::min(piece.size(), overlap());
    }
};

/// Pieces begin and end where the text may be cut, so that no character or accent is torn off.
struct UnicodeSearch {
    const UnicodeNeedle& needle;

    std::size_t overlap() const { return needle.longestMatchBytes(); }
    std::size_t bufferSize() const { return unicodeBlock + overlap(); }
    bool foundIn(std::string_view piece) const { return needle.foundIn(piece); }
    std::size_t pieceLength(std::string_view text) const { return UnicodeNeedle::lastCut(text); }
    std::size_t overlapStart(std::string_view piece) const {
        if (piece.size() <= overlap()) return 0;
        return UnicodeNeedle::lastCut(piece.substr(0, piece.size() - overlap()));
    }
};

template <typename Search>
bool searchFile(const RegularFile& file, const Search& search, const std::stop_token& stop) {
    thread_local std::vector<char> buffer;
    buffer.resize(std::max(buffer.size(), search.bufferSize()));
    const std::span<char> room = std::span(buffer).first(search.bufferSize());
    std::uint64_t offset = 0;
    std::size_t held = 0;
    while (!stop.stop_requested()) {
        const std::optional<std::size_t> count = file.readAt(offset, room.subspan(held));
        if (!count) return false;
        const std::string_view text(room.data(), held + *count);
        if (*count == 0) return search.foundIn(text);
        const std::string_view piece = text.substr(0, search.pieceLength(text));
        if (search.foundIn(piece)) return true;
        const std::size_t kept = search.overlapStart(piece);
        held = text.size() - kept;
        std::memmove(room.data(), room.data() + kept, held);
        offset += *count;
    }
    return false;
}

}  // namespace

ContentMatcher::ContentMatcher(std::string needle, bool caseSensitive)
    : needle_(std::move(needle)),
      search_(isAscii(needle_) ? decltype(search_)(ByteNeedle(needle_, caseSensitive))
                               : UnicodeNeedle(needle_, caseSensitive)) {}

bool ContentMatcher::matchesFile(const std::string& path, const std::stop_token& stop) const {
    const std::optional<RegularFile> file = RegularFile::open(path);
    if (!file) return false;
    if (const auto* bytes = std::get_if<ByteNeedle>(&search_))
        return searchFile(*file, ByteSearch{*bytes}, stop);
    return searchFile(*file, UnicodeSearch{std::get<UnicodeNeedle>(search_)}, stop);
}

}  // namespace dovra
