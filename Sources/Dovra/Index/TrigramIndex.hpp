#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stop_token>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Base/Locks.hpp"
#include "Base/PodVector.hpp"
#include "Index/FileEntry.hpp"
#include "Index/NamePool.hpp"

namespace dovra {

/// Three consecutive bytes of a name, ASCII-folded, the first in bits 16 to 23. Non-ASCII bytes count as they
/// are, so a character of three bytes is a trigram of its own.
using Trigram = std::uint32_t;

/// Distinct trigrams in ascending order.
using TrigramSet = std::vector<Trigram>;

inline constexpr std::size_t trigramLength = 3;

/// Calls `visit` with the trigram at every position of `name`, repeats included; not at all for a name of
/// fewer than three bytes.
template <typename Visit>
constexpr void forEachTrigram(std::string_view name, const Visit& visit) {
    Trigram window = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        window = (window << 8 | asciiFold(static_cast<std::uint8_t>(name[i]))) & 0xFFFFFF;
        if (i + 1 >= trigramLength) visit(window);
    }
}

/// The set of the given trigrams.
inline TrigramSet trigramSet(std::vector<Trigram> trigrams) {
    std::ranges::sort(trigrams);
    trigrams.erase(std::unique(trigrams.begin(), trigrams.end()), trigrams.end());
    return trigrams;
}

/// The optional accelerator of regular-expression and similarity queries: for every trigram of the indexed
/// names the entries whose names contain it.
///
/// Memory: 5 to 6 bytes for each distinct trigram of each name, about 90 MB for a million names of 18 bytes.
/// Adding a name of that length takes less than a microsecond.
///
/// Every operation takes the index's own lock: any thread may call any of them. Callers that hold the file
/// index's lock take this one inside it, never the other way round.
class TrigramIndex {
public:
    /// The distinct trigrams of a name or text; none for fewer than three bytes.
    static TrigramSet trigrams(std::string_view text);

    /// The intersection of two ascending lists.
    static std::vector<EntryId> intersectSorted(std::span<const EntryId> a, std::span<const EntryId> b);

    /// Posts `id` under every trigram of `name`. Identifiers must come in ascending order.
    void add(EntryId id, std::string_view name) DOVRA_EXCLUDES(lock_);

    /// Posts all entries, whose names stand in `names`, to an empty index, on all processors. Returns false
    /// after a request to stop, with some of them posted.
    bool addAll(std::span<const FileEntry> entries, const NamePool& names, const std::stop_token& stop)
        DOVRA_EXCLUDES(lock_);

    /// The entries whose names contain all the given trigrams, ascending. Absent, which means no restriction,
    /// for an empty set.
    std::optional<std::vector<EntryId>> candidates(const TrigramSet& required) const DOVRA_EXCLUDES(lock_);

    /// The entries whose names contain at least one of the given trigrams, ascending.
    std::vector<EntryId> unionOf(const TrigramSet& accepted) const DOVRA_EXCLUDES(lock_);

    /// The sum of the lengths of all posting lists.
    std::size_t postingCount() const DOVRA_EXCLUDES(lock_);

    /// Forgets every name.
    void reset() DOVRA_EXCLUDES(lock_);

private:
    using Postings = std::unordered_map<Trigram, PodVector<EntryId>>;

    /// Parts that several threads can fill at once.
    static constexpr std::size_t shardCount = 4;
    /// Trigrams that differ in their last byte stay together, near in memory as they are in names.
    static std::size_t shardOf(Trigram trigram) { return (trigram >> 8) * 0x9E3779B1U >> 30; }

    /// Posts `id` under those of the name's trigrams whose parts lie from `first` up to but not including
    /// `last`.
    void post(EntryId id, std::string_view name, std::size_t first, std::size_t last) DOVRA_UNCHECKED_LOCKING;

    /// The entries posted under the trigram, valid until the next change.
    std::span<const EntryId> listLocked(Trigram trigram) const DOVRA_REQUIRES_SHARED(lock_);

    mutable RWLock lock_;
    std::array<Postings, shardCount> shards_ DOVRA_GUARDED_BY(lock_);
};

}  // namespace dovra
