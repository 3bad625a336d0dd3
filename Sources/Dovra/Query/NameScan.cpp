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
// finds the names that hold a hit, for 64 bytes at a time. N are the positions that are not the last of a
// name, and H are the hits among them. H + N carries out of a name's run of ones exactly when the name holds
// a hit, and the carry lands on the name's last position.

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

/// Hits whose entries are looked up together. That reads other memory than the names, and each look would
/// break the stream in which the processor reads ahead.
constexpr std::size_t hitsTogether = 1024;

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
            if (needle_.isCoveredByProbes()) {
                markNames(word, count);
            } else {
                verifyAll(word, count);
            }
        }
        settle();
        if (gathered_ != 0) hits_.insertBits(nextName_ - static_cast<EntryId>(gatheredCount_), gathered_);
    }

private:
    std::uint64_t withinRange(std::size_t word) const {
        std::uint64_t mask = ~std::uint64_t{0};
        if (word == begin_ / 64) mask &= ~below(begin_ % 64);
        if (word == end_ / 64) mask &= below(end_ % 64);
        return mask;
    }

    void verifyAll(std::size_t firstWord, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (masks_[i] == 0) continue;
            for (std::uint64_t hits = masks_[i] & withinRange(firstWord + i); hits != 0; hits &= hits - 1)
                verify((firstWord + i) * 64 + static_cast<std::size_t>(std::countr_zero(hits)));
        }
    }

    void verify(std::size_t position) {
        if (position + needle_.size() > end_ || !needle_.standsAt(pool_.bytes() + position)) return;
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

    /// Adds the names that end in these words and hold a hit, in the same word or in an earlier one.
    void markNames(std::size_t firstWord, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t within = withinRange(firstWord + i);
            ends_[i] = pool_.nameEnds()[firstWord + i] & within;
            masks_[i] = hitEnds(masks_[i] & within, ends_[i], ~ends_[i] & within);
        }
        gatherBits(ends_.data(), count, masks_.data());
        for (std::size_t i = 0; i < count; ++i)
            addNames(masks_[i], static_cast<unsigned>(std::popcount(ends_[i])));
    }

    /// The ends of names that hold a hit. `inside` are the positions that are not the last of a name.
    std::uint64_t hitEnds(std::uint64_t hits, std::uint64_t ends, std::uint64_t inside) {
        if (needle_.size() == 2) hits &= ~ends;  // the second byte would belong to the next name
        std::uint64_t sum = 0;
        bool carry = __builtin_add_overflow(hits & inside, inside, &sum);
        carry = __builtin_add_overflow(sum, static_cast<std::uint64_t>(carry_), &sum) || carry;
        carry_ = carry;
        return (sum | hits) & ends;
    }

    /// Adds those of the next `count` names whose bits are set. Whole words go to the hits.
    void addNames(std::uint64_t names, unsigned count) {
        gathered_ |= names << gatheredCount_;
        nextName_ += static_cast<EntryId>(count);
        gatheredCount_ += count;
        if (gatheredCount_ < 64) return;
        gatheredCount_ -= 64;
        hits_.insertBits(nextName_ - static_cast<EntryId>(gatheredCount_ + 64), gathered_);
        const unsigned taken = count - gatheredCount_;
        gathered_ = taken == 64 ? 0 : names >> taken;
    }

    const NamePool& pool_;
    const ScanNeedle& needle_;
    const std::size_t begin_;
    const std::size_t end_;
    EntrySet& hits_;
    std::array<std::uint64_t, wordsPerBlock> masks_{};
    std::array<std::uint64_t, wordsPerBlock> ends_{};
    std::array<std::size_t, hitsTogether> found_{};  ///< where the needle stands, in a name or across two
    std::size_t foundCount_ = 0;
    EntryId nextName_ = 0;        ///< the name of the next end bit
    std::uint64_t gathered_ = 0;  ///< bits of the names before it
    unsigned gatheredCount_ = 0;  ///< below 64
    bool carry_ = false;          ///< whether the name that reaches into the next word has a hit
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
