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

/// Which text of an entry a matcher looks at.
enum class MatchTarget : std::uint8_t {
    name,
    stem,      ///< the name without its extension
    fullPath,  ///< folder path, "/", name
};

/// The name up to its last "." that does not stand first; a name without one is its own stem.
std::string_view stemOf(std::string_view name);

/// Decides whether an entry's name, stem or full path contains a piece of query text: a substring, a wildcard
/// pattern ("*" and "?" in the text) or a whole word. Plain ASCII text works on the raw bytes; other text by
/// the rules of Unicode. Immutable; any number of threads.
class TextMatcher {
public:
    TextMatcher(MatchTarget target, std::string_view text, bool caseSensitive, bool wholeWord);

    /// Matches where one of the texts is contained as it stands: none empty, all or none plain ASCII.
    static TextMatcher anyOf(MatchTarget target, std::span<const std::string_view> texts, bool caseSensitive);

    /// One whose text is a piece of the full path as it stands, without wildcards.
    static TextMatcher pieceOfPath(std::string_view text, bool caseSensitive);

    MatchTarget target() const { return target_; }
    const std::string& text() const { return text_; }
    bool isCaseSensitive() const { return caseSensitive_; }

    /// What a name is ranked by: the text, without the wildcards at its ends, which ask for what is between
    /// them.
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

    /// Whether the target's text, given directly, matches.
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

    /// What the signature of every name that can match contains. Says nothing (0) about full paths.
    NameSignature requiredSignature() const { return requiredSignature_; }

    /// The needles of which a matching text contains one, and any text that does matches; null unless the
    /// matcher was made of several plain ones.
    const NeedleSet* needles() const { return std::get_if<NeedleSet>(&engine_); }

    /// Whether only texts with a byte above 127 can match.
    bool needsNonAscii() const;

    /// As `RegularExpression::abandonedMatches`; 0 where none is used.
    std::int64_t abandonedMatches() const;

private:
    /// Where the pattern cannot be compiled (it is too large): no text matches.
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
