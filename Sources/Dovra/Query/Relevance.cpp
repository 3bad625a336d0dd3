#include "Query/Relevance.hpp"

#include <algorithm>

#include "Base/AsciiFold.hpp"

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

bool Relevance::equal(std::string_view text) const {
    return fold_ ? std::ranges::equal(text, term_, {}, [](char c) { return asciiFold(c); }) : text == term_;
}

Relevance::Meeting Relevance::bestOccurrence(std::string_view name) const {
    Meeting best = Meeting::none;
    for (std::size_t at = 1; at + term_.size() <= name.size(); ++at) {
        if (!equal(name.substr(at, term_.size()))) continue;
        if (startsWord(name, at)) return Meeting::wordStart;
        best = Meeting::anywhere;
    }
    return best;
}

Relevance::Meeting Relevance::meeting(std::string_view name) const {
    if (term_.empty()) return Meeting::none;
    if (equal(name)) return Meeting::wholeName;
    if (equal(stemOf(name))) return Meeting::stem;
    if (name.size() >= term_.size() && equal(name.substr(0, term_.size()))) return Meeting::start;
    return bestOccurrence(name);
}

std::uint64_t Relevance::key(std::string_view name) const {
    return static_cast<std::uint64_t>(meeting(name)) << 16 | name.size();
}

}  // namespace dovra
