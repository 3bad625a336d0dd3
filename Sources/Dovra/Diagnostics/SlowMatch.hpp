#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The matching rules of the query language written once more, in the most obvious way: the self test
/// compares the search engine with them. They share no code with the engine's matchers, copy texts freely and
/// take no shortcut.
namespace dovra::slow {

/// "A" to "Z" as "a" to "z", all other bytes as they are.
std::string folded(const std::string& text);

/// Whether the text contains the needle, both folded unless `caseSensitive`.
bool contains(const std::string& text, const std::string& needle, bool caseSensitive);

/// Whether the wildcard pattern describes the whole text, byte by byte. Takes time in proportion to both
/// lengths multiplied.
bool globMatches(const std::string& pattern, const std::string& text, bool caseSensitive);

/// The name without its extension: without its last dot and what follows, unless that dot stands first.
std::string stem(const std::string& name);

/// What follows the name's last dot; absent when there is none.
std::optional<std::string> extension(const std::string& name);

/// The score of the term as a subsequence of the name; absent when it is none.
std::optional<std::int32_t> fuzzyScore(const std::string& term, const std::string& name, bool caseSensitive);

/// The share of trigrams that the two texts have in common, in thousandths; absent below 0.3.
std::optional<std::int32_t> similarScore(const std::string& sample, const std::string& name);

/// How a name meets the text of a query's first plain term, smaller is better: 0 as the whole name, 1 as its
/// stem, 2 at its start, 3 at the start of a word, 4 anywhere else, 5 not at all.
int meeting(const std::string& term, const std::string& name, bool caseSensitive);

}  // namespace dovra::slow
