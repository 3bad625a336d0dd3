#include "Analysis/Sha256Pair.hpp"

#include <cstring>

#ifdef __x86_64__
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace dovra {

#ifdef __x86_64__

namespace {

// What the instructions are and how they are put together to a block: Gulley et al., "Intel SHA Extensions",
// 2013. Ours takes every step for both texts before the next.

#define DOVRA_WITH_SHA __attribute__((target("sha,sse4.1")))
#define DOVRA_INLINE_WITH_SHA DOVRA_WITH_SHA __attribute__((always_inline)) inline

/// The constants of the rounds (FIPS 180-4, 4.2.2).
alignas(16) constexpr std::uint32_t roundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

/// One text in the processor's registers.
struct Lane {
    __m128i feba;
    __m128i hgdc;
    __m128i febaBefore;
    __m128i hgdcBefore;
    __m128i schedule[4];  ///< the 16 words of the message schedule that the next rounds need
};

using Words = std::array<std::uint32_t, 4>;

Lane laneOf(const Words& feba, const Words& hgdc) {
    Lane lane{};
    lane.feba = _mm_load_si128(reinterpret_cast<const __m128i*>(feba.data()));
    lane.hgdc = _mm_load_si128(reinterpret_cast<const __m128i*>(hgdc.data()));
    return lane;
}

void store(const Lane& lane, Words& feba, Words& hgdc) {
    _mm_store_si128(reinterpret_cast<__m128i*>(feba.data()), lane.feba);
    _mm_store_si128(reinterpret_cast<__m128i*>(hgdc.data()), lane.hgdc);
}

DOVRA_INLINE_WITH_SHA void startBlock(Lane& lane, const unsigned char* block) {
    const __m128i bigEndian = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    for (int i = 0; i < 4; ++i) {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block) + i);
        lane.schedule[i] = _mm_shuffle_epi8(words, bigEndian);
    }
    lane.febaBefore = lane.feba;
    lane.hgdcBefore = lane.hgdc;
}

/// Rounds 4 `step` to 4 `step` + 3. The words that they used give way to those of four steps later.
template <int step>
DOVRA_INLINE_WITH_SHA void fourRounds(Lane& lane) {
    __m128i& own = lane.schedule[step % 4];
    const __m128i constants = _mm_load_si128(reinterpret_cast<const __m128i*>(roundConstants) + step);
    const __m128i words = _mm_add_epi32(own, constants);
    lane.hgdc = _mm_sha256rnds2_epu32(lane.hgdc, lane.feba, words);
    lane.feba = _mm_sha256rnds2_epu32(lane.feba, lane.hgdc, _mm_shuffle_epi32(words, 0x0e));
    if constexpr (step < 12) {
        const __m128i next = lane.schedule[(step + 1) % 4];
        const __m128i last = lane.schedule[(step + 3) % 4];
        const __m128i sevenBefore = _mm_alignr_epi8(last, lane.schedule[(step + 2) % 4], 4);
        own = _mm_sha256msg2_epu32(_mm_add_epi32(_mm_sha256msg1_epu32(own, next), sevenBefore), last);
    }
}

template <int step = 0>
DOVRA_INLINE_WITH_SHA void allRounds(Lane& first, Lane& second) {
    if constexpr (step < 16) {
        fourRounds<step>(first);
        fourRounds<step>(second);
        allRounds<step + 1>(first, second);
    }
}

DOVRA_INLINE_WITH_SHA void endBlock(Lane& lane) {
    lane.feba = _mm_add_epi32(lane.feba, lane.febaBefore);
    lane.hgdc = _mm_add_epi32(lane.hgdc, lane.hgdcBefore);
}

}  // namespace

bool Sha256Pair::isAvailable() {
    static const bool available = [] {
        unsigned a = 0;
        unsigned b = 0;
        unsigned c = 0;
        unsigned d = 0;
        const bool hasSse41 = __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_SSE4_1) != 0;
        return hasSse41 && __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_SHA) != 0;
    }();
    return available;
}

DOVRA_WITH_SHA void Sha256Pair::takeBlocks(States& states, const unsigned char* first,
                                           const unsigned char* second, std::size_t count) {
    Lane a = laneOf(states[0].feba, states[0].hgdc);
    Lane b = laneOf(states[1].feba, states[1].hgdc);
    for (; count > 0; --count) {
        startBlock(a, first);
        startBlock(b, second);
        allRounds(a, b);
        endBlock(a);
        endBlock(b);
        first += blockBytes;
        second += blockBytes;
    }
    store(a, states[0].feba, states[0].hgdc);
    store(b, states[1].feba, states[1].hgdc);
}

#else

bool Sha256Pair::isAvailable() {
    return false;
}

void Sha256Pair::takeBlocks(States&, const unsigned char*, const unsigned char*, std::size_t) {}

#endif

void Sha256Pair::update(const char* first, const char* second, std::size_t length) {
    const auto* a = reinterpret_cast<const unsigned char*>(first);
    const auto* b = reinterpret_cast<const unsigned char*>(second);
    const std::size_t whole = length / blockBytes;
    takeBlocks(states_, a, b, whole);
    std::memcpy(rest_[0].data(), a + whole * blockBytes, length % blockBytes);
    std::memcpy(rest_[1].data(), b + whole * blockBytes, length % blockBytes);
    length_ += length;
}

std::array<Digest, 2> Sha256Pair::finish() {
    // A bit, zeros, and the length in bits as eight bytes at the end of a block (FIPS 180-4, 5.1.1).
    const std::size_t used = length_ % blockBytes;
    const std::size_t padded = used < blockBytes - 8 ? blockBytes : 2 * blockBytes;
    std::array<std::array<unsigned char, 2 * blockBytes>, 2> ends{};
    for (std::size_t i = 0; i < 2; ++i) {
        std::memcpy(ends[i].data(), rest_[i].data(), used);
        ends[i][used] = 0x80;
        for (std::size_t byte = 0; byte < 8; ++byte)
            ends[i][padded - 1 - byte] = static_cast<unsigned char>((length_ * 8) >> (8 * byte));
    }
    takeBlocks(states_, ends[0].data(), ends[1].data(), padded / blockBytes);
    return {digestOf(states_[0]), digestOf(states_[1])};
}

Digest Sha256Pair::digestOf(const State& state) {
    const std::uint32_t words[] = {state.feba[3], state.feba[2], state.hgdc[3], state.hgdc[2],
                                   state.feba[1], state.feba[0], state.hgdc[1], state.hgdc[0]};
    Digest digest;
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<unsigned char>(words[i / 4] >> (24 - 8 * (i % 4)));
    return digest;
}

}  // namespace dovra
