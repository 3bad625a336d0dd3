#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Base/AsciiFold.hpp"

namespace dovra {

/// A byte to look for, or both cases of a letter: setting the bit 0x20 maps exactly these two to the small
/// letter. The test is one comparison, which fits vector instructions.
struct BytePattern {
    std::uint8_t mask = 0;
    std::uint8_t value = 0;

    static constexpr BytePattern of(char c, bool fold) {
        const auto byte = static_cast<std::uint8_t>(fold ? asciiFold(c) : c);
        return {.mask = static_cast<std::uint8_t>(fold && isAsciiLetter(byte) ? 0x20 : 0), .value = byte};
    }

    /// 0 where the byte matches.
    constexpr std::uint8_t difference(std::uint8_t byte) const {
        return static_cast<std::uint8_t>((byte | mask) ^ value);
    }
};

/// A byte string to look for in other texts, names as well as file contents. Immutable; safe from any thread.
///
/// The search tests the two bytes of the needle that are likely the rarest. It does so at every position of a
/// run of text, in a loop that compilers turn into vector instructions, and looks closer only where both fit.
class ByteNeedle {
public:
    /// Unless `caseSensitive`, letters are compared under ASCII folding (Base/AsciiFold.hpp).
    ByteNeedle(std::string_view needle, bool caseSensitive);

    /// Whether the needle occurs in `text`. The empty needle occurs everywhere. Allocates nothing.
    bool foundIn(std::string_view text) const;

    /// Whether the needle stands at `text`, where at least `size()` bytes can be read.
    bool standsAt(const char* text) const { return equalFolding({text, needle_.size()}, needle_, fold_); }

    /// Whether the text begins with the needle, or is the needle.
    bool isPrefixOf(std::string_view text) const { return text.size() >= size() && standsAt(text.data()); }
    bool equals(std::string_view text) const { return text.size() == size() && standsAt(text.data()); }

    /// The needle, folded unless case-sensitive.
    const std::string& bytes() const { return needle_; }
    std::size_t size() const { return needle_.size(); }

    /// One byte of the needle and its distance from the start.
    struct Probe {
        std::size_t distance = 0;
        BytePattern byte;

        std::uint8_t difference(const char* start) const {
            return byte.difference(static_cast<std::uint8_t>(start[distance]));
        }
    };
    Probe probeAt(std::size_t distance) const {
        return {distance, BytePattern::of(needle_[distance], fold_)};
    }

private:
    template <std::size_t length>
    bool mayStartWithin(const char* start) const;
    bool startsWithin(const char* start, std::size_t length) const;

    std::string needle_;
    bool fold_;
    std::array<Probe, 2> probes_;
};

}  // namespace dovra
