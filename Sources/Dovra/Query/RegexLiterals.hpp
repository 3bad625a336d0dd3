#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Index/TrigramIndex.hpp"

/// The literals that every match of a regular expression contains, read off its pattern without compiling it.
/// The answers are safe but incomplete: a pattern that the reader cannot follow restricts nothing. It cannot
/// follow escapes of more than one character (`\x41`, `\Q…\E`, `\cA`, `\p{L}`, `\1`), groups other than
/// plain, capturing, atomic and lookaround ones (inline flags, comments, conditions, recursion, verbs), and
/// character classes with unusual members.
namespace dovra::RegexLiterals {

/// Whether a "|" stands outside every group and class, so that no literal is common to all matches. Also true
/// of a pattern that cannot be followed.
bool hasTopLevelAlternation(std::string_view pattern);

/// The longest runs of literal characters in the pattern's order. Every matching text contains each of them
/// in one piece, up to ASCII case. Unless `caseSensitive`, a run ends at "k" and "s", which also match the
/// Kelvin sign and the long s, and at non-ASCII characters.
std::vector<std::string> literalRuns(std::string_view pattern, bool caseSensitive);

/// The trigrams of all literal runs. Every matching name has them all. Empty when nothing is certain.
TrigramSet requiredTrigrams(std::string_view pattern, bool caseSensitive);

}  // namespace dovra::RegexLiterals
