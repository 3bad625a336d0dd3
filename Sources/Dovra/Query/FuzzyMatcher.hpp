#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// Finds names that contain a term's bytes in order, not necessarily adjacent, and scores how well they fall
/// on starts of words and on runs. Immutable.
class FuzzyMatcher {
public:
    FuzzyMatcher(std::string_view term, bool caseSensitive);

    /// The score of a name, 0 or above, higher is better; nothing when the name does not contain the term.
    /// One greedy pass: each byte of the term is taken where it first occurs. Allocates nothing.
    std::optional<std::int32_t> score(std::string_view name) const;

    /// The bytes sought: the term, ASCII-folded unless case counts.
    const std::string& pattern() const { return pattern_; }
    bool caseSensitive() const { return caseSensitive_; }

private:
    std::string pattern_;
    bool caseSensitive_;
};

/// Smart case: whether some character of `text` has the Unicode property Uppercase, so that a fuzzy term
/// written that way counts case.
bool smartCaseSensitive(std::string_view text);

}  // namespace dovra
