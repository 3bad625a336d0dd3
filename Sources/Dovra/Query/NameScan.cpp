#include "Query/NameScan.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Query/ByteVector.hpp"

// The names are one block of bytes, so all of them are searched at once. Vector instructions find the
// positions where two bytes of the needle stand at their distance. These bytes are the rarest in this pool,
// with a third where they are common, so few positions are left to compare in full. Nothing stands between
// two names; the pool's end bits keep them apart. A hit must not reach over an end bit, and the entry of a
// hit is the number of end bits before it.
//
// Needles of one or two bytes hit too often for that. Their probes are the whole comparison, and one addition
// finds the names that hold a hit, for 64 bytes at a time. N are the positions that are not the last of a
// name, and H are the hits among them. H + N carries out of a name's run of ones exactly when the name holds
// a hit, and the carry lands on the name's last position.

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

/// For each of `wordCount` × 64 positions from `bytes`, whether all probes (two or three) match: bit i % 64
/// of `masks[i / 64]`. Reads up to the largest probe distance beyond the last position.
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

/// Positions are probed in blocks before the hits among them are compared. The masks of a block stay in the
/// first-level cache.
constexpr std::size_t wordsPerBlock = 64;

/// The scan reads one vector and this distance beyond a position, within the pool's readable slack.
constexpr std::size_t maxProbeDistance = 63;
static_assert(maxProbeDistance + 64 <= NamePool::readableSlack);

constexpr std::size_t pieces = 32;
constexpr std::size_t pieceBytes = 128;
constexpr double sampledBytes = pieces * pieceBytes;

/// The share of positions that two probes may let pass, if their bytes were independent. A comparison at one
/// position costs about as much as a third probe of a thousand positions.
constexpr double mostPassing = 1e-3;

/// The counts of all bytes (folded) in evenly spaced pieces of the pool.
std::array<std::uint32_t, 256> sampleBytes(const NamePool& pool) {
    std::array<std::uint32_t, 256> counts{};
    for (std::size_t piece = 0; piece < pieces; ++piece) {
        const std::size_t start = pool.size() / pieces * piece;
        const std::size_t end = std::min(start + pieceBytes, pool.size());
        for (std::size_t i = start; i < end; ++i)
            ++counts[asciiFold(pool.bytes()[i])];
    }
    return counts;
}

std::uint64_t below(std::size_t bit) {
    return (std::uint64_t{1} << bit) - 1;
}

/// The scan of one range of positions in the pool.
class Scan {
public:
    Scan(const NamePool& pool, const ScanNeedle& needle, std::size_t begin, std::size_t end, EntrySet& hits)
        : pool_(pool), needle_(needle), begin_(begin), end_(end), hits_(hits) {}

    void run() {
        const std::size_t lastWord = (end_ + 63) / 64;
        if (needle_.isCoveredByProbes()) nextName_ = pool_.nameAt(begin_);
        for (std::size_t word = begin_ / 64; word < lastWord; word += wordsPerBlock) {
            const std::size_t count = std::min(wordsPerBlock, lastWord - word);
            probeBytes(pool_.bytes() + word * 64, count, needle_.probes(), masks_.data());
            for (std::size_t i = 0; i < count; ++i)
                takeWord(word + i, masks_[i] & withinRange(word + i));
        }
    }

private:
    std::uint64_t withinRange(std::size_t word) const {
        std::uint64_t mask = ~std::uint64_t{0};
        if (word == begin_ / 64) mask &= ~below(begin_ % 64);
        if (word == end_ / 64) mask &= below(end_ % 64);
        return mask;
    }

    void takeWord(std::size_t word, std::uint64_t hits) {
        if (needle_.isCoveredByProbes()) {
            markNames(word, hits);
        } else {
            for (; hits != 0; hits &= hits - 1)
                verify(word * 64 + static_cast<std::size_t>(std::countr_zero(hits)));
        }
    }

    void verify(std::size_t position) {
        if (position + needle_.size() > end_ || !needle_.standsAt(pool_.bytes() + position)) return;
        if (pool_.isWithinName(position, needle_.size())) hits_.insert(pool_.nameAt(position));
    }

    /// Adds the names that end in this word and hold a hit, in this word or in an earlier one.
    void markNames(std::size_t word, std::uint64_t hits) {
        const std::uint64_t ends = pool_.nameEnds()[word] & withinRange(word);
        if (needle_.size() == 2) hits &= ~ends;  // the second byte would belong to the next name
        const std::uint64_t inside = ~ends & withinRange(word);
        const std::uint64_t starts = hits & inside;
        std::uint64_t sum = 0;
        bool carry = __builtin_add_overflow(starts, inside, &sum);
        carry = __builtin_add_overflow(sum, static_cast<std::uint64_t>(carry_), &sum) || carry;
        carry_ = carry;
        std::uint64_t names = 0;
        for (std::uint64_t found = (sum | hits) & ends; found != 0; found &= found - 1) {
            const std::uint64_t endsBefore = ends & ((found & -found) - 1);
            names |= std::uint64_t{1} << std::popcount(endsBefore);
        }
        if (names != 0) hits_.insertBits(nextName_, names);
        nextName_ += std::popcount(ends);
    }

    const NamePool& pool_;
    const ScanNeedle& needle_;
    const std::size_t begin_;
    const std::size_t end_;
    EntrySet& hits_;
    std::array<std::uint64_t, wordsPerBlock> masks_{};
    EntryId nextName_ = 0;  ///< the name of the next end bit
    bool carry_ = false;    ///< whether the name that reaches into this word has a hit
};

struct PoolRange {
    std::size_t begin;
    std::size_t end;
};

std::size_t endOfName(const FileIndex& index, EntryId id) {
    const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
    return std::size_t{entry.nameOffset} + entry.nameLen;
}

/// The names' place in the pool; the range is not empty.
PoolRange poolRangeOf(const FileIndex& index, EntryRange range) {
    return {.begin = index.entriesLocked()[static_cast<std::size_t>(range.first)].nameOffset,
            .end = endOfName(index, range.last - 1)};
}

}  // namespace

ScanNeedle::ScanNeedle(std::string_view literal, bool fold, const NamePool& pool) : needle_(literal, !fold) {
    const auto counts = sampleBytes(pool);
    const auto countAt = [&](std::size_t i) {
        return counts[asciiFold(static_cast<std::uint8_t>(literal[i]))];
    };
    std::vector<std::size_t> rarestFirst(std::min(literal.size(), maxProbeDistance + 1));
    std::iota(rarestFirst.begin(), rarestFirst.end(), 0);
    std::ranges::stable_sort(rarestFirst, {}, countAt);
    if (rarestFirst.size() == 1) rarestFirst.push_back(0);
    const double passing = countAt(rarestFirst[0]) * countAt(rarestFirst[1]);
    if (rarestFirst.size() > 2 && passing > mostPassing * sampledBytes * sampledBytes) probeCount_ = 3;
    for (std::size_t i = 0; i < probeCount_; ++i)
        probes_[i] = needle_.probeAt(rarestFirst[i]);
}

void scanNames(const FileIndex& index, const ScanNeedle& needle, EntryRange range, EntrySet& hits) {
    if (range.first >= range.last) return;
    const PoolRange names = poolRangeOf(index, range);
    Scan(index.namePoolLocked(), needle, names.begin, names.end, hits).run();
}

void scanNames(const FileIndex& index, const NeedleSet& needles, EntryRange range, EntrySet& hits) {
    if (range.first >= range.last) return;
    const PoolRange names = poolRangeOf(index, range);
    const NamePool& pool = index.namePoolLocked();
    const std::string_view text(reinterpret_cast<const char*>(pool.bytes()) + names.begin,
                                names.end - names.begin);
    needles.forEachOccurrence(text, [&](const NeedleSet::Occurrence& found) {
        if (!pool.isWithinName(names.begin + found.position, found.size)) return found.position + 1;
        const EntryId id = pool.nameAt(names.begin + found.position);
        hits.insert(id);
        return endOfName(index, id) - names.begin;
    });
}

}  // namespace dovra
