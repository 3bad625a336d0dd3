#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Base/TextNeedle.hpp"
#include "Query/QueryParser.hpp"

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
    enum class Meeting : std::uint8_t { wholeName, stem, start, wordStart, anywhere, none };

    static constexpr std::int32_t meetingStep = 24;

    Meeting meeting(std::string_view name) const;

    std::optional<TextNeedle> term_;  ///< none where there is no text to meet
};

}  // namespace dovra
