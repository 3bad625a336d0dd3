#include "Query/NameScan.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Query/NameProbe.hpp"

// The names are one block of bytes, so all of them are searched at once. Vector instructions find the
// positions where two bytes of the needle stand at their distance. These bytes are the rarest in this pool,
// with a third where they are common, so few positions are left to compare in full. Nothing stands between
// two names; the pool's end bits keep them apart. A hit must not reach over an end bit, and the entry of a
// hit is the number of end bits before it.
//
// Needles of one or two bytes hit too often for that. Their probes are the whole comparison, and one addition
// finds the names that hold a hit, for 64 bytes at a time (`NameMarking`). N are the positions that are not
// the last of a name, and H are the hits among them. H + N carries out of a name's run of ones exactly when
// the name holds a hit, and the carry lands on the name's last position.

namespace dovra {

namespace {

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

/// Positions in the pool, from `begin` up to but not including `end`.
struct PoolRange {
    std::size_t begin;
    std::size_t end;

    /// The bits of word `word` that stand for positions of the range.
    std::uint64_t within(std::size_t word) const {
        std::uint64_t mask = ~std::uint64_t{0};
        if (word == begin / 64) mask &= ~below(begin % 64);
        if (word == end / 64) mask &= below(end % 64);
        return mask;
    }
};

/// Hits whose entries are looked up together. That reads other memory than the names, and each look would
/// break the stream in which the processor reads ahead.
constexpr std::size_t hitsTogether = 1024;

/// The scan of one range for a needle that its probes do not cover.
class Scan {
public:
    Scan(const NamePool& pool, const ScanNeedle& needle, PoolRange range, EntrySet& hits)
        : pool_(pool), needle_(needle), range_(range), hits_(hits) {}

    void run() {
        const std::size_t lastWord = (range_.end + 63) / 64;
        for (std::size_t word = range_.begin / 64; word < lastWord; word += wordsPerBlock) {
            const std::size_t count = std::min(wordsPerBlock, lastWord - word);
            probeBytes(pool_.bytes() + word * 64, count, needle_.probes(), masks_.data());
            verifyAll(word, count);
        }
        settle();
    }

private:
    void verifyAll(std::size_t firstWord, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (masks_[i] == 0) continue;
            for (std::uint64_t hits = masks_[i] & range_.within(firstWord + i); hits != 0; hits &= hits - 1)
                verify((firstWord + i) * 64 + static_cast<std::size_t>(std::countr_zero(hits)));
        }
    }

    void verify(std::size_t position) {
        if (position + needle_.size() > range_.end || !needle_.standsAt(pool_.bytes() + position)) return;
        pool_.prefetchName(position);
        found_[foundCount_++] = position;
        if (foundCount_ == found_.size()) settle();
    }

    /// Adds the entries of the positions found so far.
    void settle() {
        for (std::size_t i = 0; i < foundCount_; ++i) {
            if (pool_.isWithinName(found_[i], needle_.size())) hits_.insert(pool_.nameAt(found_[i]));
        }
        foundCount_ = 0;
    }

    const NamePool& pool_;
    const ScanNeedle& needle_;
    const PoolRange range_;
    EntrySet& hits_;
    std::array<std::uint64_t, wordsPerBlock> masks_{};
    std::array<std::size_t, hitsTogether> found_{};  ///< where the needle stands, in a name or across two
    std::size_t foundCount_ = 0;
};

/// The scan of one range, from the name `first` on, for a needle that its probes cover.
void scanShort(const NamePool& pool, const ScanNeedle& needle, PoolRange range, EntryId first,
               EntrySet& hits) {
    NameMarking marking(hits, first);
    const auto mark = [&](std::size_t word, std::size_t count) {
        const PoolWords words{.bytes = pool.bytes() + word * 64,
                              .ends = pool.nameEnds() + word,
                              .count = count,
                              .within = range.within(word)};
        markNames(needle.probes(), words, needle.size() == 2, marking);
    };
    const std::size_t firstWord = range.begin / 64;
    const std::size_t lastWord = (range.end - 1) / 64;
    mark(firstWord, 1);
    if (lastWord > firstWord) {
        mark(firstWord + 1, lastWord - firstWord - 1);
        mark(lastWord, 1);
    }
    marking.finish();
}

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
    const NamePool& pool = index.namePoolLocked();
    if (needle.isCoveredByProbes()) return scanShort(pool, needle, names, range.first, hits);
    Scan(pool, needle, names, hits).run();
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
