#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "Index/FileEntry.hpp"

namespace dovra {

/// Consecutive identifiers, from `first` up to but not including `last`.
struct EntryRange {
    EntryId first;
    EntryId last;
};

/// The values of the range's entries, out of those of all.
template <typename T>
std::span<const T> within(std::span<const T> values, EntryRange range) {
    return values.subspan(static_cast<std::size_t>(range.first),
                          static_cast<std::size_t>(range.last - range.first));
}

/// A set of entries, with one bit for each identifier. Ten million entries take 1.25 MB, so matches are
/// collected, counted and put in order without a list. Different threads may write different words at once.
class EntrySet {
public:
    EntrySet() = default;
    explicit EntrySet(std::size_t entryCount) : words_((entryCount + 63) / 64) {}

    static constexpr EntryId entriesPerWord = 64;

    bool contains(EntryId id) const { return (words_[wordOf(id)] & bitOf(id)) != 0; }
    void insert(EntryId id) { words_[wordOf(id)] |= bitOf(id); }
    void erase(EntryId id) { words_[wordOf(id)] &= ~bitOf(id); }
    void insert(EntryRange range);

    /// Adds the entry `first` + i for each bit i of `bits`.
    void insertBits(EntryId first, std::uint64_t bits) {
        const unsigned shift = static_cast<unsigned>(first) % 64;
        words_[wordOf(first)] |= bits << shift;
        const std::uint64_t carried = shift == 0 ? 0 : bits >> (64 - shift);
        if (carried != 0) words_[wordOf(first) + 1] |= carried;
    }
    /// Adds an entry that may lie beyond the count given at first.
    void insertGrowing(EntryId id) {
        if (wordOf(id) >= words_.size()) words_.resize(wordOf(id) + 1);
        insert(id);
    }

    /// Erases those of the range that are in the set, and adds the others.
    void flip(EntryRange range);

    /// Erases those of the range that are in `others` too, which may be made for fewer entries. The range
    /// begins at a multiple of 64.
    void erase(EntryRange range, const EntrySet& others);

    std::int64_t count() const;
    std::size_t memoryBytes() const { return words_.capacity() * sizeof(std::uint64_t); }

    bool operator==(const EntrySet&) const = default;

    /// Calls `visit` with each identifier of the set within the range, ascending. `visit` may erase it.
    template <typename Visit>
    void forEach(EntryRange range, Visit&& visit) const {
        for (std::size_t w = wordOf(range.first); w * 64 < static_cast<std::size_t>(range.last); ++w) {
            for (std::uint64_t word = words_[w] & within(range, w); word != 0; word &= word - 1) {
                visit(static_cast<EntryId>(w * 64) + std::countr_zero(word));
            }
        }
    }

    /// The first `limit` identifiers in ascending order.
    std::vector<EntryId> firstIds(std::int64_t limit) const;

private:
    static std::size_t wordOf(EntryId id) { return static_cast<std::size_t>(id) / 64; }
    static std::uint64_t bitOf(EntryId id) { return std::uint64_t{1} << (static_cast<unsigned>(id) % 64); }

    /// The bits of word `w` that stand for identifiers of the range.
    static std::uint64_t within(EntryRange range, std::size_t w);

    std::vector<std::uint64_t> words_;
};

}  // namespace dovra
