#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Base/TextNeedle.hpp"
#include "Query/HashedBits.hpp"

namespace dovra {

/// Searches a text for many byte strings in one pass. Immutable; safe from any thread.
///
/// A needle's window is its first bytes, as many as the shortest needle has, at most eight. The scan reads a
/// short block at every few positions, so that any window in the text holds one of these blocks. Nearly
/// everywhere the block occurs in no needle's window. Then nothing else is read, and no step waits for the
/// one before. Otherwise the windows around the block are looked up. Where one may begin a needle, only the
/// last needle that sorts before the text can match, because no needle is the start of another. Needles
/// shorter than a block have passes of their own, or they would slow down all others.
class NeedleSet {
public:
    /// No needle is empty. Unless `caseSensitive`, letters are compared under ASCII folding.
    NeedleSet(std::span<const std::string_view> needles, bool caseSensitive);

    /// Whether one of the needles occurs in the text. Allocates nothing.
    bool foundIn(std::string_view text) const;

    struct Occurrence {
        std::size_t position;
        std::size_t size;
    };

    /// Visits the occurrences in the text, one group of needles after the other. `visit` takes an
    /// `Occurrence` and returns the position at which the search goes on, behind the occurrence's first byte.
    template <typename Visit>
    void forEachOccurrence(std::string_view text, const Visit& visit) const {
        for (const Group& group : groups_) {
            std::size_t from = 0;
            while (const auto found = firstOf(group, text, from))
                from = visit(*found);
        }
    }

private:
    /// Needles of one length below `longestBlock`, or all the longer ones.
    struct Group {
        std::size_t window;  ///< in bytes; fits into one number
        std::size_t block;
        HashedBits blocks;                 ///< at all places of the first windows
        HashedBits starts;                 ///< the first windows
        std::vector<std::string> needles;  ///< by the bucket of their first windows, then ascending
        std::vector<std::uint32_t> bucketEnds;

        std::span<const std::string> bucketOf(std::uint64_t firstWindow) const;
    };
    static constexpr std::size_t longestBlock = 4;

    void addGroup(std::vector<std::string> needles);
    std::optional<Occurrence> firstOf(const Group& group, std::string_view text, std::size_t from) const;
    template <std::size_t block>
    std::optional<Occurrence> firstWithBlock(const Group& group, std::string_view text,
                                             std::size_t from) const;
    std::optional<Occurrence> firstStart(const Group& group, std::string_view text, std::size_t from,
                                         std::size_t last) const;
    const std::string* startOf(std::string_view text, std::span<const std::string> bucket) const;

    bool fold_;
    std::vector<Group> groups_;
};

/// The same with the comparison of `UnicodeNeedle`.
class UnicodeNeedleSet {
public:
    UnicodeNeedleSet(std::span<const std::string_view> needles, bool caseSensitive);

    bool foundIn(std::string_view text) const;

    /// Whether only texts with a byte above 127 can match.
    bool needsNonAscii() const;

private:
    bool caseSensitive_;
    NeedleSet forms_;  ///< the canonical forms as bytes: one of them occurs wherever a needle does
    std::vector<UnicodeNeedle> needles_;
};

}  // namespace dovra
