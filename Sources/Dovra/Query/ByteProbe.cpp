#include "Query/ByteProbe.hpp"

#include <array>

#include "Query/ByteVector.hpp"

namespace dovra {

namespace {

/// A probe spread over a vector.
struct VectorProbe {
    explicit VectorProbe(const ScanNeedle::Probe& probe) : distance(probe.distance), byte(probe.byte) {}

    ByteVector::Matches matches(const std::uint8_t* bytes) const { return byte.matches(bytes + distance); }

    std::size_t distance;
    ByteVector byte;
};

/// The mask of 64 positions.
template <std::size_t count>
std::uint64_t probeWord(const std::uint8_t* bytes, const std::array<VectorProbe, count>& probes) {
    std::uint64_t word = 0;
    for (unsigned i = 0; i < 64; i += 16) {
        ByteVector::Matches all = probes[0].matches(bytes + i);
        for (std::size_t p = 1; p < count; ++p)
            all = ByteVector::both(all, probes[p].matches(bytes + i));
        word |= static_cast<std::uint64_t>(ByteVector::bits(all)) << i;
    }
    return word;
}

template <std::size_t count>
void probeWords(const std::uint8_t* bytes, std::size_t wordCount,
                const std::array<VectorProbe, count>& probes, std::uint64_t* masks) {
    for (std::size_t word = 0; word < wordCount; ++word)
        masks[word] = probeWord(bytes + word * 64, probes);
}

}  // namespace

void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, std::span<const ScanNeedle::Probe> probes,
                std::uint64_t* masks) {
    const VectorProbe first(probes[0]);
    const VectorProbe second(probes[1]);
    if (probes.size() == 2) {
        probeWords<2>(bytes, wordCount, {first, second}, masks);
    } else {
        probeWords<3>(bytes, wordCount, {first, second, VectorProbe(probes[2])}, masks);
    }
}

}  // namespace dovra
