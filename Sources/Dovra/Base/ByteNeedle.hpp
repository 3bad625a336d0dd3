#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace dovra {

/// A byte string to look for in long texts such as file contents. Immutable; safe from any thread.
///
/// The search tests two bytes of the needle, the two that are likely the rarest, at every position of a run
/// of text in a loop that compilers turn into vector instructions, and looks closer only where both fit. Both
/// cases of a letter are tested at once: setting the bit 0x20 maps exactly them to the lower-case letter.
class ByteNeedle {
public:
    /// Unless `caseSensitive`, letters are compared under ASCII folding (Base/AsciiFold.hpp).
    ByteNeedle(std::string_view needle, bool caseSensitive);

    /// Whether the needle occurs in `text`. The empty needle occurs everywhere. Allocates nothing.
    bool foundIn(std::string_view text) const;

    std::size_t size() const { return needle_.size(); }

private:
    /// One byte of the needle: text fits at `offset` when the byte there, its bits `mask` set, is `value`.
    struct Probe {
        std::size_t offset = 0;
        std::uint8_t mask = 0;
        std::uint8_t value = 0;

        bool fits(const char* start) const { return difference(start) == 0; }
        /// 0 where the text fits.
        std::uint8_t difference(const char* start) const {
            return static_cast<std::uint8_t>((static_cast<std::uint8_t>(start[offset]) | mask) ^ value);
        }
    };

    Probe probeAt(std::size_t offset) const;
    bool mayStartWithin(const char* start) const;
    bool startsAt(const char* start) const;

    std::string needle_;
    bool fold_;
    std::array<Probe, 2> probes_;
};

}  // namespace dovra
