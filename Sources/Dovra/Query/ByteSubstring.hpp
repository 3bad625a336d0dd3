#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// The bad-character table of Horspool's search (R. N. Horspool, "Practical fast searching in strings",
/// 1980): how far the needle may move when the text byte under its last position is the table's index. Shifts
/// are capped at 65535; a shorter shift is always safe. Every entry is the needle's length for needles of 0
/// or 1 bytes.
std::vector<std::uint16_t> bmhSkip(std::string_view needle);

/// A byte substring with its skip table, matched as it is or under ASCII folding of the text. Immutable.
class ByteSubstring {
public:
    /// With `fold` the needle is folded here, once.
    ByteSubstring(std::string_view needle, bool fold);

    /// An empty needle is found in every text. No allocation.
    bool foundIn(std::string_view text) const;

    const std::string& bytes() const { return needle_; }
    bool folds() const { return fold_; }

private:
    bool byteFoundIn(std::string_view text) const;
    bool matchesAt(const char* text) const;

    std::string needle_;
    std::vector<std::uint16_t> skip_;  ///< empty for needles of 0 or 1 bytes
    bool fold_;
};

}  // namespace dovra
