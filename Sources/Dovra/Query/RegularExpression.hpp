#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Query/TextRange.hpp"

namespace dovra {

/// A compiled regular expression in the syntax of PCRE2, over Unicode text: lookaround, Unicode properties,
/// classes such as `\w` that know all scripts. Immutable; copies share the compiled code, and any number of
/// threads may match with it at once.
class RegularExpression {
public:
    /// Compiles a pattern; nothing when it is not a valid one. Ill-formed UTF-8 is repaired first. `\C` (one
    /// byte of a character) is not allowed.
    static std::optional<RegularExpression> compile(std::string_view pattern, bool caseSensitive);

    /// What is wrong with a pattern that `compile` refuses, and before which character, counted from 1;
    /// absent when nothing is.
    static std::optional<std::string> fault(std::string_view pattern);

    /// A pattern that matches exactly `text`.
    static std::string escapedPattern(std::string_view text);

    /// Steps that a match may take at most, from all positions of a text together.
    static constexpr std::uint32_t mostSteps = 25'000;

    /// Whether the expression matches anywhere in `text`. Ill-formed UTF-8 is repaired first. A match that
    /// takes more steps than the limit is abandoned and counts as no match, always the same ones.
    bool foundIn(std::string_view text, std::uint32_t limit = mostSteps) const;

    /// The steps that the match takes; `mostSteps` when they are more. Slow.
    std::uint32_t stepsFor(std::string_view text) const;

    /// Where the expression first matches in `text`; absent where `foundIn` says no, and where the text is
    /// not well-formed.
    std::optional<TextRange> firstRange(std::string_view text) const;

    /// How many texts all copies together have given up so far.
    std::int64_t abandonedMatches() const;

private:
    struct Code;
    explicit RegularExpression(std::shared_ptr<const Code> code);

    std::shared_ptr<const Code> code_;
};

}  // namespace dovra
