#include "Query/NameProbe.hpp"

#include <algorithm>
#include <array>
#include <bit>

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

/// A probe spread over a vector.
struct VectorProbe {
    explicit VectorProbe(const Probe& probe) : distance(probe.distance), byte(probe.byte) {}

    ByteVector::Matches matches(const std::uint8_t* bytes) const { return byte.matches(bytes + distance); }

    std::size_t distance;
    ByteVector byte;
};

template <std::size_t count>
ByteVector::Matches allMatch(const std::uint8_t* bytes, const std::array<VectorProbe, count>& probes) {
    ByteVector::Matches all = probes[0].matches(bytes);
    for (std::size_t p = 1; p < count; ++p)
        all = ByteVector::both(all, probes[p].matches(bytes));
    return all;
}

/// The mask of 64 positions.
template <std::size_t count>
std::uint64_t probeWord(const std::uint8_t* bytes, const std::array<VectorProbe, count>& probes) {
    const ByteVector::Matches a = allMatch(bytes, probes);
    const ByteVector::Matches b = allMatch(bytes + 16, probes);
    const ByteVector::Matches c = allMatch(bytes + 32, probes);
    const ByteVector::Matches d = allMatch(bytes + 48, probes);
    // Most words hold no match, which one of the slow instructions finds out instead of four.
    const auto any = ByteVector::either(ByteVector::either(a, b), ByteVector::either(c, d));
    if (ByteVector::bits(any) == 0) return 0;
    return std::uint64_t{ByteVector::bits(b) << 16 | ByteVector::bits(a)} |
           std::uint64_t{ByteVector::bits(d) << 16 | ByteVector::bits(c)} << 32;
}

template <std::size_t count>
void probeWords(const std::uint8_t* bytes, std::size_t wordCount, std::span<const Probe> probes,
                std::uint64_t* masks) {
    const auto vectors = [&]<std::size_t... p>(std::index_sequence<p...>) {
        return std::array<VectorProbe, count>{VectorProbe(probes[p])...};
    }
    (std::make_index_sequence<count>());
    for (std::size_t word = 0; word < wordCount; ++word) {
        __builtin_prefetch(bytes + word * 64 + bytesAhead);
        masks[word] = probeWord<count>(bytes + word * 64, vectors);
    }
}

void gatherBitsOneByOne(const std::uint64_t* places, std::size_t count, std::uint64_t* words) {
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t gathered = 0;
        for (std::uint64_t left = words[i]; left != 0; left &= left - 1)
            gathered |= std::uint64_t{1} << std::popcount(places[i] & ((left & -left) - 1));
        words[i] = gathered;
    }
}

#if defined(__x86_64__)

#define DOVRA_WIDE [[gnu::target("avx512bw,bmi2")]]

struct WideProbe {
    std::size_t distance;
    __m512i caseBits;
    __m512i value;
};

template <std::size_t count>
DOVRA_WIDE void probeWordsWide(const std::uint8_t* bytes, std::size_t wordCount,
                               std::span<const Probe> probes, std::uint64_t* masks) {
    std::array<WideProbe, count> vectors{};
    for (std::size_t p = 0; p < count; ++p)
        vectors[p] = {probes[p].distance, _mm512_set1_epi8(static_cast<char>(probes[p].byte.mask)),
                      _mm512_set1_epi8(static_cast<char>(probes[p].byte.value))};
    for (std::size_t word = 0; word < wordCount; ++word) {
        const std::uint8_t* start = bytes + word * 64;
        __builtin_prefetch(start + bytesAhead);
        std::uint64_t all = ~std::uint64_t{0};
        for (const WideProbe& probe : vectors) {
            const __m512i loaded = _mm512_loadu_si512(start + probe.distance);
            all = _mm512_mask_cmpeq_epi8_mask(all, _mm512_or_si512(loaded, probe.caseBits), probe.value);
        }
        masks[word] = all;
    }
}

DOVRA_WIDE void gatherBitsWide(const std::uint64_t* places, std::size_t count, std::uint64_t* words) {
    for (std::size_t i = 0; i < count; ++i)
        words[i] = _pext_u64(words[i], places[i]);
}

#undef DOVRA_WIDE

#else

template <std::size_t count>
constexpr auto probeWordsWide = probeWords<count>;
constexpr auto gatherBitsWide = gatherBitsOneByOne;

#endif

}  // namespace

void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, std::span<const Probe> probes,
                std::uint64_t* masks) {
    if (hasWideVectors()) {
        probes.size() == 2 ? probeWordsWide<2>(bytes, wordCount, probes, masks)
                           : probeWordsWide<3>(bytes, wordCount, probes, masks);
    } else {
        probes.size() == 2 ? probeWords<2>(bytes, wordCount, probes, masks)
                           : probeWords<3>(bytes, wordCount, probes, masks);
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

void gatherBits(const std::uint64_t* places, std::size_t count, std::uint64_t* words) {
    if (hasWideVectors()) return gatherBitsWide(places, count, words);
    gatherBitsOneByOne(places, count, words);
}

}  // namespace dovra
