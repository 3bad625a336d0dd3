#pragma once

#include <cstdint>

#include "Base/ByteNeedle.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Every x86-64 processor has 16-byte vectors.

namespace dovra {

/// Compares a byte pattern with 16 bytes at once.
class ByteVector {
public:
#if defined(__SSE2__)
    using Matches = __m128i;

    /// Compares with the byte 0.
    ByteVector() : ByteVector(BytePattern{}) {}
    explicit ByteVector(BytePattern pattern)
        : mask_(_mm_set1_epi8(static_cast<char>(pattern.mask))),
          value_(_mm_set1_epi8(static_cast<char>(pattern.value))) {}

    Matches matches(const std::uint8_t* bytes) const {
        const __m128i loaded = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(bytes)));
        return _mm_cmpeq_epi8(_mm_or_si128(loaded, mask_), value_);
    }

    static Matches both(Matches a, Matches b) {
        return _mm_and_si128(a, b);
    }
    static Matches either(Matches a, Matches b) {
        return _mm_or_si128(a, b);
    }

    /// Bit i is set where byte i matches.
    static std::uint32_t bits(Matches matches) {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(matches));
    }

private:
    __m128i mask_;
    __m128i value_;
#else
    using Matches = std::uint32_t;

    ByteVector() = default;
    explicit ByteVector(BytePattern pattern) : pattern_(pattern) {}

    Matches matches(const std::uint8_t* bytes) const {
        Matches found = 0;
        for (unsigned i = 0; i < 16; ++i)
            found |= static_cast<Matches>(pattern_.difference(bytes[i]) == 0) << i;
        return found;
    }

    static Matches both(Matches a, Matches b) {
        return a & b;
    }
    static Matches either(Matches a, Matches b) {
        return a | b;
    }
    static std::uint32_t bits(Matches matches) {
        return matches;
    }

private:
    BytePattern pattern_;
#endif
};

}  // namespace dovra
