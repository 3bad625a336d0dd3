#pragma once

#include <cstddef>
#include <cstdint>

#include "Query/NameScan.hpp"

namespace dovra {

/// For each of `wordCount` × 64 positions from `bytes`, whether both probes match there: bit i % 64 of
/// `masks[i / 64]`. Reads up to the larger probe distance beyond the last position.
void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, const ScanNeedle::Probe& first,
                const ScanNeedle::Probe& second, std::uint64_t* masks);

}  // namespace dovra
