#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Base/ByteNeedle.hpp"
#include "Base/TextNeedle.hpp"
#include "Index/NamePool.hpp"
#include "Query/GlobPattern.hpp"
#include "Query/NeedleSet.hpp"
#include "Query/RegularExpression.hpp"
#include "Query/TextRange.hpp"

namespace dovra {

/// The text of an entry that a matcher tests.
enum class MatchTarget : std::uint8_t {
    name,
    stem,      ///< the name without its extension
    fullPath,  ///< folder path, "/", name
};

/// The name up to its last ".", unless that stands first. A name without such a "." is its own stem.
std::string_view stemOf(std::string_view name);

/// Tests an entry's name, stem or full path against a text of a query: a substring, a wildcard pattern ("*"
/// and "?" in the text) or a whole word. ASCII text is compared by bytes, other text by the rules of Unicode.
/// Immutable; safe from any thread.
class TextMatcher {
public:
    TextMatcher(MatchTarget target, std::string_view text, bool caseSensitive, bool wholeWord);

    /// A matcher of targets that contain one of the texts as it stands: none empty, all or none ASCII.
    static TextMatcher anyOf(MatchTarget target, std::span<const std::string_view> texts, bool caseSensitive);

    /// A matcher of full paths that contain the text as it stands, without wildcards.
    static TextMatcher pieceOfPath(std::string_view text, bool caseSensitive);

    MatchTarget target() const { return target_; }
    const std::string& text() const { return text_; }
    bool isCaseSensitive() const { return caseSensitive_; }

    /// The text by which names are ranked: without the wildcards at its ends.
    std::string rankedText() const;

    /// `fullPath` returns the entry's full path; it is called only when the target is the full path.
    template <typename FullPath>
    bool matches(std::string_view name, FullPath&& fullPath) const {
        switch (target_) {
            case MatchTarget::name:
                return matchesText(name);
            case MatchTarget::stem:
                return matchesText(stemOf(name));
            case MatchTarget::fullPath:
                break;
        }
        return matchesText(fullPath());
    }

    /// The same for a target's text, given directly.
    bool matchesText(std::string_view text) const;

    /// Where in a text that matches the query's text stands, from the left, without overlaps. Empty where
    /// that is no piece of it: behind a wildcard pattern of several pieces.
    std::vector<TextRange> rangesIn(std::string_view text) const;

    /// Bytes that every matching text contains in one piece, compared with ASCII folding unless
    /// `isCaseSensitive()`. Empty when nothing is known.
    std::string requiredLiteral() const;

    /// Whether a text matches exactly when it contains the required literal.
    bool isPlainSubstring() const { return std::holds_alternative<ByteNeedle>(engine_); }

    /// Whether a text matches exactly when it contains `text()`, by bytes or by the rules of Unicode.
    bool isSubstring() const { return isPlainSubstring() || std::holds_alternative<UnicodeNeedle>(engine_); }

    /// The bits set in the signature of every name that can match; 0 for full paths.
    NameSignature requiredSignature() const { return requiredSignature_; }

    /// The needles of a matcher of several ASCII texts: a text matches exactly when it contains one of them.
    /// Null for every other matcher.
    const NeedleSet* needles() const { return std::get_if<NeedleSet>(&engine_); }

    /// Whether only texts with a byte above 127 can match.
    bool needsNonAscii() const;

    /// As `RegularExpression::abandonedMatches`; 0 without a regular expression.
    std::int64_t abandonedMatches() const;

private:
    /// Stands for a pattern that is too large to compile: no text matches.
    struct Never {};
    using Engine = std::variant<ByteNeedle, GlobPattern, UnicodeNeedle, RegularExpression, NeedleSet,
                                UnicodeNeedleSet, Never>;

    TextMatcher(MatchTarget target, std::string_view text, bool caseSensitive, Engine engine);

    static Engine substringEngine(std::string_view text, bool caseSensitive);
    static Engine wholeWordEngine(std::string_view text, bool caseSensitive);
    static Engine unicodeGlobEngine(std::string_view text, bool caseSensitive);
    std::string longestWordLiteral() const;
    static Engine makeEngine(std::string_view text, bool caseSensitive, bool wholeWord);

    MatchTarget target_;
    std::string text_;
    bool caseSensitive_;
    bool wholeWord_ = false;
    Engine engine_;
    std::string wordLiteral_;
    NameSignature requiredSignature_ = 0;
};

}  // namespace dovra
