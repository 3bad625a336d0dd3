#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Base/TextNeedle.hpp"
#include "Index/FileIndex.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// Ranks a name by the place of a query's first plain term in it: the whole name, its stem, its start, the
/// start of a word, anywhere else, or nowhere (other terms matched). At the same place shorter names come
/// first. Case and accents count as in the match itself.
///
/// Neighbouring places lie 24 apart, a third of the largest boost. A file that was opened once (a boost of 16
/// at most) comes before the others of its place, and behind all of better places. A file that is opened all
/// the time rises by three places, so the whole name still comes before an occurrence anywhere.
class Relevance {
public:
    explicit Relevance(const std::optional<PlainTerm>& term);

    /// The sort key of a name, below 2 to the power of `keyBits`; smaller is better. `boost` is the boost of
    /// its entry, 0 to `RankingBoost::largest`.
    std::uint64_t key(std::string_view name, std::int32_t boost) const;
    static constexpr unsigned keyBits = 24;

private:
    enum class MatchPlace : std::uint8_t { wholeName, stem, start, wordStart, anywhere, none };

    static constexpr std::int32_t placeStep = 24;

    MatchPlace matchPlace(std::string_view name) const;
    /// The place of a needle that the name does not begin with.
    static MatchPlace placeBehindStart(const ByteNeedle& needle, std::string_view name);

    std::optional<TextNeedle> term_;  ///< absent without a text to find
};

/// Looks up the frecency boosts of an index's entries, as they were when the object was made. A hash of the
/// name rules out nearly all entries, so their paths are not built. The index's read lock is held for the
/// object's life. Any number of threads may use it.
class FrecencyLift {
public:
    explicit FrecencyLift(const FileIndex& index);

    /// The entry's boost, 0 for none. `name` is the entry's own.
    std::int32_t boost(const FileEntry& entry, std::string_view name) const {
        if (byName_.empty()) return 0;
        return hashes_.test(slot(name)) ? find(entry, name) : 0;
    }

private:
    /// Some 6 % of all names pass when the store is full.
    static constexpr std::size_t slots = 65536;

    static std::size_t slot(std::string_view name) { return std::hash<std::string_view>()(name) % slots; }

    std::int32_t find(const FileEntry& entry, std::string_view name) const;

    struct InFolder {
        std::string_view folder;
        std::int32_t boost;
    };

    const FolderTable& folders_;
    std::vector<PathBoost> boosts_;
    std::unordered_multimap<std::string_view, InFolder> byName_;  ///< views into `boosts_`
    std::bitset<slots> hashes_;
};

/// The first `limit` of the matches (ascending identifiers) in the order of `spec`. Equal keys keep the
/// index's order in both directions. Only the returned matches are sorted. Relevance is measured against
/// `query`, and raised by the index's frecency. The index's read lock is held.
std::vector<EntryId> sortMatchesLocked(const FileIndex& index, std::vector<EntryId> matches, SortSpec spec,
                                       const CompiledQuery& query, std::int64_t limit);

/// The same by score plus frecency boost, highest first, then the shorter name, then the name. The score is
/// that of the query's first fuzzy or similarity term, 0 for an entry without one. Without `bestFirst` the
/// order is reversed.
std::vector<EntryId> scoreSortLocked(const FileIndex& index, const std::vector<EntryId>& matches,
                                     bool bestFirst, const CompiledQuery& query, std::int64_t limit);

}  // namespace dovra
