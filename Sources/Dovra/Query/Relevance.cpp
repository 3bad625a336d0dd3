#include "Query/Relevance.hpp"

#include <algorithm>

#include "Base/AsciiFold.hpp"
#include "Index/RankingBoost.hpp"

namespace dovra {

namespace {

bool isAlphanumeric(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    return isAsciiLetter(byte) || (c >= '0' && c <= '9') || byte >= 128;
}

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

/// A word starts behind a byte that is no letter or digit, and at a capital behind a small letter.
bool startsWord(std::string_view name, std::size_t at) {
    return !isAlphanumeric(name[at - 1]) || (isUpper(name[at]) && !isUpper(name[at - 1]));
}

}  // namespace

Relevance::Relevance(const std::optional<PlainTerm>& term) {
    if (!term) return;
    fold_ = !term->caseSensitive;
    term_ = fold_ ? asciiFolded(term->text) : term->text;
    // Wildcards at the ends ask for the literal between them.
    while (term_.ends_with('*'))
        term_.pop_back();
    term_.erase(0, std::min(term_.find_first_not_of('*'), term_.size()));
}

bool Relevance::standsAt(std::string_view name, std::size_t at) const {
    for (std::size_t i = 0; i < term_.size(); ++i) {
        if ((fold_ ? asciiFold(name[at + i]) : name[at + i]) != term_[i]) return false;
    }
    return true;
}

Relevance::Meeting Relevance::bestOccurrence(std::string_view name) const {
    Meeting best = Meeting::none;
    for (std::size_t at = 1; at + term_.size() <= name.size(); ++at) {
        if (!standsAt(name, at)) continue;
        if (startsWord(name, at)) return Meeting::wordStart;
        best = Meeting::anywhere;
    }
    return best;
}

Relevance::Meeting Relevance::meeting(std::string_view name) const {
    if (term_.empty() || name.size() < term_.size()) return Meeting::none;
    if (!standsAt(name, 0)) return bestOccurrence(name);
    if (name.size() == term_.size()) return Meeting::wholeName;
    return stemOf(name).size() == term_.size() ? Meeting::stem : Meeting::start;
}

std::uint64_t Relevance::key(std::string_view name, std::int32_t boost) const {
    const std::int32_t rank =
        static_cast<std::int32_t>(meeting(name)) * meetingStep + RankingBoost::largest - boost;
    return static_cast<std::uint64_t>(rank) << 16 | name.size();
}

}  // namespace dovra
