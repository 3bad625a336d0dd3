#include "Query/Relevance.hpp"

#include "Base/AsciiFold.hpp"
#include "Index/FileIndex.hpp"

namespace dovra {

namespace {

bool isAlphanumeric(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    return isAsciiLetter(byte) || (c >= '0' && c <= '9') || byte >= 128;
}

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

/// A word starts with a letter or digit behind a byte that is none, and with a capital behind a small letter.
bool startsWord(std::string_view name, std::size_t at) {
    if (!isAlphanumeric(name[at])) return false;
    return !isAlphanumeric(name[at - 1]) || (isUpper(name[at]) && !isUpper(name[at - 1]));
}

}  // namespace

Relevance::Relevance(const std::optional<PlainTerm>& term) {
    if (term && !term->text.empty()) term_.emplace(term->text, term->caseSensitive);
}

Relevance::Meeting Relevance::meeting(std::string_view name) const {
    if (!term_ || !term_->foundIn(name)) return Meeting::none;
    if (term_->isPrefixOf(name)) {
        if (term_->equals(name)) return Meeting::wholeName;
        return term_->equals(stemOf(name)) ? Meeting::stem : Meeting::start;
    }
    for (std::size_t at = 1; at < name.size(); ++at) {
        if (startsWord(name, at) && term_->isPrefixOf(name.substr(at))) return Meeting::wordStart;
    }
    return Meeting::anywhere;
}

std::uint64_t Relevance::key(std::string_view name, std::int32_t boost) const {
    const std::int32_t rank =
        static_cast<std::int32_t>(meeting(name)) * meetingStep + RankingBoost::largest - boost;
    return static_cast<std::uint64_t>(rank) << 16 | name.size();
}

}  // namespace dovra
