#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Query/TextRange.hpp"

namespace dovra {

/// A compiled regular expression in the syntax of PCRE2, over Unicode text: lookaround, Unicode properties,
/// classes such as `\w` that know all scripts. Immutable. Copies share the compiled code, and any number of
/// threads may match at once.
class RegularExpression {
public:
    /// Compiles a pattern; absent when it is invalid. Ill-formed UTF-8 is repaired first. `\C` (one byte of a
    /// character) is not allowed.
    static std::optional<RegularExpression> compile(std::string_view pattern, bool caseSensitive);

    /// The fault of a pattern that `compile` refuses, with the number of the character where it stands,
    /// counted from 1; absent for a valid pattern.
    static std::optional<std::string> fault(std::string_view pattern);

    /// A pattern that matches exactly `text`.
    static std::string escapedPattern(std::string_view text);

    /// The most steps of a match, from all positions of a text together.
    static constexpr std::uint32_t mostSteps = 25'000;

    /// Whether the expression matches anywhere in `text`. Ill-formed UTF-8 is repaired first. A match beyond
    /// the limit is always abandoned, and counts as no match.
    bool foundIn(std::string_view text, std::uint32_t limit = mostSteps) const;

    /// The steps that a match takes, at most `mostSteps`. Slow.
    std::uint32_t stepsFor(std::string_view text) const;

    /// Where the expression first matches in `text`; absent where `foundIn` says no, and where the text is
    /// not well-formed.
    std::optional<TextRange> firstRange(std::string_view text) const;

    /// The number of texts that all copies together have abandoned so far.
    std::int64_t abandonedMatches() const;

private:
    struct Code;
    explicit RegularExpression(std::shared_ptr<const Code> code);

    std::shared_ptr<const Code> code_;
};

}  // namespace dovra
