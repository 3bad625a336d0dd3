#include "Query/NameProbe.hpp"

#include <algorithm>
#include <array>
#include <bit>

#include "Base/BitCount.hpp"
#include "Platform/ProcessorFeatures.hpp"
#include "Query/ByteVector.hpp"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace dovra {

namespace {

using Probe = ByteNeedle::Probe;

/// How far ahead memory is asked for: the processor itself does not look beyond the end of a page.
constexpr std::size_t bytesAhead = 2048;

/// Probes in vectors of 16 bytes.
template <std::size_t probeCount>
class NarrowProbes {
public:
    explicit NarrowProbes(std::span<const Probe> probes) {
        for (std::size_t p = 0; p < probeCount; ++p)
            vectors_[p] = {probes[p].distance, ByteVector(probes[p].byte)};
    }

    /// The mask of 64 positions.
    std::uint64_t matches(const std::uint8_t* bytes) const {
        const ByteVector::Matches a = allMatch(bytes);
        const ByteVector::Matches b = allMatch(bytes + 16);
        const ByteVector::Matches c = allMatch(bytes + 32);
        const ByteVector::Matches d = allMatch(bytes + 48);
        // Most words hold no match, which one of the slow instructions finds out instead of four.
        const auto any = ByteVector::either(ByteVector::either(a, b), ByteVector::either(c, d));
        if (ByteVector::bits(any) == 0) return 0;
        return std::uint64_t{ByteVector::bits(b) << 16 | ByteVector::bits(a)} |
               std::uint64_t{ByteVector::bits(d) << 16 | ByteVector::bits(c)} << 32;
    }

    /// The bits at the places that are set in `places`, the lowest place first. All other bits are 0.
    static std::uint64_t gather(std::uint64_t bits, std::uint64_t places) {
        std::uint64_t gathered = 0;
        for (std::uint64_t left = bits; left != 0; left &= left - 1)
            gathered |= std::uint64_t{1} << countBits(places & ((left & -left) - 1));
        return gathered;
    }

    static unsigned count(std::uint64_t bits) { return countBits(bits); }

private:
    ByteVector::Matches allMatch(const std::uint8_t* bytes) const {
        ByteVector::Matches all = vectors_[0].byte.matches(bytes + vectors_[0].distance);
        for (std::size_t p = 1; p < probeCount; ++p)
            all = ByteVector::both(all, vectors_[p].byte.matches(bytes + vectors_[p].distance));
        return all;
    }

    struct Vector {
        std::size_t distance = 0;
        ByteVector byte;
    };
    std::array<Vector, probeCount> vectors_{};
};

#if defined(__x86_64__)

#define DOVRA_WIDE [[gnu::target("avx512bw,bmi2")]]

/// The same in vectors of 64 bytes.
template <std::size_t probeCount>
class WideProbes {
public:
    DOVRA_WIDE explicit WideProbes(std::span<const Probe> probes) {
        for (std::size_t p = 0; p < probeCount; ++p)
            vectors_[p] = {probes[p].distance, _mm512_set1_epi8(static_cast<char>(probes[p].byte.mask)),
                           _mm512_set1_epi8(static_cast<char>(probes[p].byte.value))};
    }

    DOVRA_WIDE std::uint64_t matches(const std::uint8_t* bytes) const {
        std::uint64_t all = ~std::uint64_t{0};
        for (const Vector& probe : vectors_) {
            const __m512i loaded = _mm512_loadu_si512(bytes + probe.distance);
            all = _mm512_mask_cmpeq_epi8_mask(all, _mm512_or_si512(loaded, probe.caseBits), probe.value);
        }
        return all;
    }

    DOVRA_WIDE static std::uint64_t gather(std::uint64_t bits, std::uint64_t places) {
        return _pext_u64(bits, places);
    }

    DOVRA_WIDE static unsigned count(std::uint64_t bits) {
        return static_cast<unsigned>(std::popcount(bits));
    }

private:
    struct Vector {
        std::size_t distance;
        __m512i caseBits;
        __m512i value;
    };
    std::array<Vector, probeCount> vectors_{};
};

#else

#define DOVRA_WIDE
template <std::size_t count>
using WideProbes = NarrowProbes<count>;

#endif

// The loops are written once, and become part of a function for each width.

template <typename Probes>
[[gnu::always_inline]] inline void probeWords(const Probes& probes, const std::uint8_t* bytes,
                                              std::size_t wordCount, std::uint64_t* masks) {
    for (std::size_t word = 0; word < wordCount; ++word) {
        __builtin_prefetch(bytes + word * 64 + bytesAhead);
        masks[word] = probes.matches(bytes + word * 64);
    }
}

template <std::size_t count>
void probeWordsNarrow(const std::uint8_t* bytes, std::size_t wordCount, std::span<const Probe> probes,
                      std::uint64_t* masks) {
    probeWords(NarrowProbes<count>(probes), bytes, wordCount, masks);
}

template <std::size_t count>
DOVRA_WIDE void probeWordsWide(const std::uint8_t* bytes, std::size_t wordCount,
                               std::span<const Probe> probes, std::uint64_t* masks) {
    probeWords(WideProbes<count>(probes), bytes, wordCount, masks);
}

template <typename Probes>
[[gnu::always_inline]] inline void markNamesWith(const Probes& probes, const PoolWords& words, bool isPair,
                                                 NameMarking& marking) {
    NameMarking now = marking;  // in registers
    for (std::size_t word = 0; word < words.count; ++word) {
        __builtin_prefetch(words.bytes + word * 64 + bytesAhead);
        const std::uint64_t ends = words.ends[word] & words.within;
        const std::uint64_t inside = words.within & ~ends;
        // The second byte of two would belong to the next name.
        const std::uint64_t hits = probes.matches(words.bytes + word * 64) & (isPair ? inside : words.within);
        now.append(Probes::gather(now.hitEnds(hits, ends, inside), ends), Probes::count(ends));
    }
    marking = now;
}

DOVRA_WIDE void markNamesWide(std::span<const Probe> probes, const PoolWords& words, bool isPair,
                              NameMarking& marking) {
    markNamesWith(WideProbes<2>(probes), words, isPair, marking);
}

#undef DOVRA_WIDE

}  // namespace

void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, std::span<const Probe> probes,
                std::uint64_t* masks) {
    if (hasWideVectors()) {
        probes.size() == 2 ? probeWordsWide<2>(bytes, wordCount, probes, masks)
                           : probeWordsWide<3>(bytes, wordCount, probes, masks);
    } else {
        probes.size() == 2 ? probeWordsNarrow<2>(bytes, wordCount, probes, masks)
                           : probeWordsNarrow<3>(bytes, wordCount, probes, masks);
    }
}

std::uint64_t probeSignatures(std::span<const NameSignature> signatures, NameSignature required) {
    const std::size_t count = std::min<std::size_t>(signatures.size(), 64);
    std::uint64_t found = 0;
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i wanted = _mm_set1_epi32(static_cast<int>(required));
    const auto four = [&](std::size_t at) {
        const auto* values = static_cast<const __m128i*>(static_cast<const void*>(signatures.data() + at));
        return _mm_cmpeq_epi32(_mm_and_si128(_mm_loadu_si128(values), wanted), wanted);
    };
    for (; i + 16 <= count; i += 16) {
        const __m128i low = _mm_packs_epi32(four(i), four(i + 4));
        const __m128i high = _mm_packs_epi32(four(i + 8), four(i + 12));
        const int bits = _mm_movemask_epi8(_mm_packs_epi16(low, high));
        found |= static_cast<std::uint64_t>(bits) << i;
    }
#endif
    for (; i < count; ++i)
        found |= static_cast<std::uint64_t>((signatures[i] & required) == required) << i;
    return found;
}

void markNames(std::span<const Probe> probes, const PoolWords& words, bool isPair, NameMarking& marking) {
    if (hasWideVectors()) return markNamesWide(probes, words, isPair, marking);
    markNamesWith(NarrowProbes<2>(probes), words, isPair, marking);
}

}  // namespace dovra
