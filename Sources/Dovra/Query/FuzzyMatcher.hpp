#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// Finds names that contain a term's bytes in order, with any others between them. Bytes at starts of words
/// and in runs score higher. Immutable.
class FuzzyMatcher {
public:
    FuzzyMatcher(std::string_view term, bool caseSensitive);

    /// The score of a name: 0 or above, higher is better. Absent when the name does not contain the term. One
    /// greedy pass takes each byte of the term where it first occurs. Allocates nothing.
    std::optional<std::int32_t> score(std::string_view name) const;

    /// The term, ASCII-folded unless case counts.
    const std::string& pattern() const { return pattern_; }
    bool caseSensitive() const { return caseSensitive_; }

private:
    std::string pattern_;
    bool caseSensitive_;
};

/// Smart case: whether case counts in a fuzzy term, because one of its characters has the Unicode property
/// Uppercase.
bool smartCaseSensitive(std::string_view text);

}  // namespace dovra
