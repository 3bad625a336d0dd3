#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Index/TrigramIndex.hpp"

/// What every match of a regular expression must contain, read off its pattern without compiling it. The
/// answers are safe, not complete: a pattern that uses anything this reader does not follow restricts
/// nothing. It does not follow escapes that span more than one character (`\x41`, `\Q…\E`, `\cA`, `\p{L}`,
/// `\1`), groups that are more than a plain, capturing, atomic or lookaround group (inline flags, comments,
/// conditions, recursion, verbs), and character classes with unusual members.
namespace dovra::RegexLiterals {

/// Whether a "|" stands outside every group and class, so that no literal is common to all matches. Also true
/// of a pattern that cannot be followed.
bool hasTopLevelAlternation(std::string_view pattern);

/// The longest runs of literal characters that every match contains, in the pattern's order; each occurs in
/// every matching text in one piece, up to ASCII case. A pattern that matches without regard to case breaks
/// its runs at "k" and "s", which also match the Kelvin sign and the long s, and at non-ASCII characters.
std::vector<std::string> literalRuns(std::string_view pattern, bool caseSensitive);

/// The trigrams of all literal runs: every name that matches has them all. Empty when nothing is certain.
TrigramSet requiredTrigrams(std::string_view pattern, bool caseSensitive);

}  // namespace dovra::RegexLiterals
