#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Base/ByteNeedle.hpp"
#include "Index/NamePool.hpp"

// The inner loops of a scan over all names, in the widest vectors of the processor.

namespace dovra {

/// For each of `wordCount` × 64 positions from `bytes`, whether all probes (two or three) match: bit i % 64
/// of `masks[i / 64]`. Reads up to the largest probe distance beyond the last position.
void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, std::span<const ByteNeedle::Probe> probes,
                std::uint64_t* masks);

/// The signatures among the first 64 that have all the `required` bits: bit i for signature i.
std::uint64_t probeSignatures(std::span<const NameSignature> signatures, NameSignature required);

/// Replaces each of `count` words by its bits at the places that are set in `places`, the lowest place first.
/// All other bits of the words are 0.
void gatherBits(const std::uint64_t* places, std::size_t count, std::uint64_t* words);

}  // namespace dovra
