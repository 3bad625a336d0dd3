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

/// How well a name meets a query's first plain term: as the whole name, as its stem, at its start, at the
/// start of a word, anywhere else, or not at all (the entry matched by other terms); shorter names first
/// within each. Case and accents count as little as when the term is matched.
///
/// One way and the next lie 24 apart, a third of the largest boost. So a file that was opened once (a boost
/// of 16 at most) comes before all that meet the term as it does and behind all that meet it better; one that
/// is opened all the time passes three ways, and the whole name still comes before an occurrence anywhere.
class Relevance {
public:
    explicit Relevance(const std::optional<PlainTerm>& term);

    /// Smaller is better. Below 2 to the power of `keyBits`. `boost` is the entry's, 0 to
    /// `RankingBoost::largest`.
    std::uint64_t key(std::string_view name, std::int32_t boost) const;
    static constexpr unsigned keyBits = 24;

private:
    enum class MatchPlace : std::uint8_t { wholeName, stem, start, wordStart, anywhere, none };

    static constexpr std::int32_t placeStep = 24;

    MatchPlace matchPlace(std::string_view name) const;

    std::optional<TextNeedle> term_;  ///< none where there is no text to meet
};

/// The boosts of an index's frecency, put so that each of many matches can be asked for its own: nearly all
/// are turned down by a hash of their name, without their path being made. Boosts are those of the moment at
/// which the object was made. The index's read lock is held for its lifetime; any number of threads may ask.
class FrecencyLift {
public:
    explicit FrecencyLift(const FileIndex& index);

    /// The entry's boost; 0 when it has none. `name` is the entry's own.
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

/// The first `limit` of the matches (ascending identifiers) in the order of `spec`; equal keys
/// keep the index's order in both directions. Only these are sorted, the others are told apart from them.
/// `query` says what relevance means; the index's frecency lifts matches in that order. The index's read lock
/// is held.
std::vector<EntryId> sortMatchesLocked(const FileIndex& index, std::vector<EntryId> matches, SortSpec spec,
                                       const CompiledQuery& query, std::int64_t limit);

/// The same by the score of the query's first fuzzy or similarity term plus the frecency boost, highest
/// first, then the shorter name, then the name; `bestFirst` false turns that around. An entry without a score
/// counts as 0.
std::vector<EntryId> scoreSortLocked(const FileIndex& index, const std::vector<EntryId>& matches,
                                     bool bestFirst, const CompiledQuery& query, std::int64_t limit);

}  // namespace dovra
