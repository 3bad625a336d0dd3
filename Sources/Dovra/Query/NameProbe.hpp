#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Base/ByteNeedle.hpp"
#include "Index/EntrySet.hpp"
#include "Index/NamePool.hpp"

// The inner loops of a scan over all names, in the widest vectors of the processor.

namespace dovra {

/// For each of `wordCount` × 64 positions from `bytes`, whether all probes (two or three) match: bit i % 64
/// of `masks[i / 64]`. Reads up to the largest probe distance beyond the last position.
void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, std::span<const ByteNeedle::Probe> probes,
                std::uint64_t* masks);

/// The signatures among the first 64 that have all the `required` bits: bit i for signature i.
std::uint64_t probeSignatures(std::span<const NameSignature> signatures, NameSignature required);

/// Consecutive words of a name pool: 64 bytes each, the bits that say where names end, and the positions
/// that count, the same in each word.
struct PoolWords {
    const std::uint8_t* bytes;
    const std::uint64_t* ends;
    std::size_t count;
    std::uint64_t within;
};

/// Collects one bit for each name, in the order of the pool: whether the name holds a hit.
class NameMarking {
public:
    /// The bits go to `hits`. `first` is the first name, at a multiple of 64.
    NameMarking(EntrySet& hits, EntryId first) : hits_(&hits), next_(first) {}

    /// The ends of names that hold a hit, in this word or in an earlier one. `inside` are the positions that
    /// are not the last of a name.
    std::uint64_t hitEnds(std::uint64_t hits, std::uint64_t ends, std::uint64_t inside) {
        std::uint64_t sum = 0;
        bool carry = __builtin_add_overflow(hits & inside, inside, &sum);
        carry = __builtin_add_overflow(sum, static_cast<std::uint64_t>(carry_), &sum) || carry;
        carry_ = carry;
        return (sum | hits) & ends;
    }

    /// Adds the bits of the next `count` names.
    void append(std::uint64_t names, unsigned count) {
        gathered_ |= names << gatheredCount_;
        gatheredCount_ += count;
        if (gatheredCount_ < 64) return;
        hits_->insertBits(next_, gathered_);
        next_ += 64;
        gatheredCount_ -= 64;
        const unsigned taken = count - gatheredCount_;
        gathered_ = taken == 64 ? 0 : names >> taken;
    }

    /// Adds the bits that fill no word.
    void finish() {
        if (gathered_ != 0) hits_->insertBits(next_, gathered_);
    }

private:
    EntrySet* hits_;
    EntryId next_;                ///< the name of the first gathered bit
    std::uint64_t gathered_ = 0;  ///< fewer than 64 bits
    unsigned gatheredCount_ = 0;
    bool carry_ = false;  ///< whether the name that reaches into the next word has a hit
};

/// Marks the names that end in these words and hold a needle that its two probes cover. `isPair`: it has two
/// bytes, and else one. Words that follow one another are marked by calls with the same `marking`.
void markNames(std::span<const ByteNeedle::Probe> probes, const PoolWords& words, bool isPair,
               NameMarking& marking);

}  // namespace dovra
