#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Query/NameScan.hpp"

namespace dovra {

/// For each of `wordCount` × 64 positions from `bytes`, whether all probes, two or three, match there: bit
/// i % 64 of `masks[i / 64]`. Reads up to the largest probe distance beyond the last position.
void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, std::span<const ScanNeedle::Probe> probes,
                std::uint64_t* masks);

}  // namespace dovra
