#include "Query/ByteSubstring.hpp"

#include <algorithm>
#include <limits>

#include "Base/AsciiFold.hpp"

namespace dovra {

std::vector<std::uint16_t> bmhSkip(std::string_view needle) {
    constexpr std::size_t largest = std::numeric_limits<std::uint16_t>::max();
    const auto shift = [largest](std::size_t bytes) {
        return static_cast<std::uint16_t>(std::min(bytes, largest));
    };
    std::vector<std::uint16_t> skip(256, shift(needle.size()));
    for (std::size_t i = 0; i + 1 < needle.size(); ++i) {
        skip[static_cast<std::uint8_t>(needle[i])] = shift(needle.size() - 1 - i);
    }
    return skip;
}

ByteSubstring::ByteSubstring(std::string_view needle, bool fold)
    : needle_(fold ? asciiFolded(needle) : std::string(needle)), fold_(fold) {
    if (needle_.size() > 1) skip_ = bmhSkip(needle_);
}

bool ByteSubstring::foundIn(std::string_view text) const {
    if (needle_.empty()) return true;
    if (text.size() < needle_.size()) return false;
    if (needle_.size() == 1) return byteFoundIn(text);
    const std::size_t last = needle_.size() - 1;
    for (std::size_t at = 0; at + last < text.size();) {
        if (matchesAt(text.data() + at)) return true;
        const char under = fold_ ? asciiFold(text[at + last]) : text[at + last];
        at += skip_[static_cast<std::uint8_t>(under)];
    }
    return false;
}

bool ByteSubstring::byteFoundIn(std::string_view text) const {
    const char wanted = needle_.front();
    if (!fold_) return text.find(wanted) != std::string_view::npos;
    return std::ranges::any_of(text, [wanted](char c) { return asciiFold(c) == wanted; });
}

bool ByteSubstring::matchesAt(const char* text) const {
    for (std::size_t i = needle_.size(); i-- > 0;) {
        const char c = fold_ ? asciiFold(text[i]) : text[i];
        if (c != needle_[i]) return false;
    }
    return true;
}

}  // namespace dovra
