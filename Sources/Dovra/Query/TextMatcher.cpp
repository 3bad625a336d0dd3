#include "Query/TextMatcher.hpp"

#include <algorithm>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/Overloaded.hpp"
#include "Base/Utf8.hpp"
#include "Query/RegexLiterals.hpp"

namespace dovra {

namespace {

/// In the pattern of a wildcard text that is not ASCII, a "." must stand for any character, line ends
/// included.
constexpr std::string_view anyCharacterMode = "(?s)";

/// The pattern of a text without "*".
std::string unicodeGlobPiece(std::string_view text) {
    std::string pattern;
    for (std::size_t mark = text.find('?'); mark != std::string_view::npos; mark = text.find('?')) {
        pattern += RegularExpression::escapedPattern(text.substr(0, mark)) + ".";
        text.remove_prefix(mark + 1);
    }
    return pattern + RegularExpression::escapedPattern(text);
}

std::string unicodeGlobPattern(std::string_view text) {
    std::size_t star = text.find('*');
    std::string pattern = std::string(anyCharacterMode) + "^" + unicodeGlobPiece(text.substr(0, star));
    while (star != std::string_view::npos) {
        text.remove_prefix(star + 1);
        star = text.find('*');
        // The first place where a piece fits leaves the most text to the later pieces, so no other is tried.
        // Only the last piece must end the text.
        const std::string piece = unicodeGlobPiece(text.substr(0, star));
        pattern += star == std::string_view::npos ? ".*" + piece : "(?>.*?" + piece + ")";
    }
    // "\z", not "$": a name may end in a line feed, which "$" would pass over.
    return pattern + "\\z";
}

std::string longestOf(const std::vector<std::string>& runs) {
    const auto longest = std::ranges::max_element(runs, {}, &std::string::size);
    return longest == runs.end() ? std::string{} : *longest;
}

/// The end of the occurrence of the needle that begins at `begin`; absent when there is none.
std::optional<std::size_t> occurrenceEnd(const ByteNeedle& needle, std::string_view text, std::size_t begin) {
    return needle.isPrefixOf(text.substr(begin)) ? std::optional(begin + needle.size()) : std::nullopt;
}

std::optional<std::size_t> occurrenceEnd(const UnicodeNeedle& needle, std::string_view text,
                                         std::size_t begin) {
    const std::string_view rest = text.substr(begin);
    if (!needle.isPrefixOf(rest)) return std::nullopt;
    const std::size_t longest = std::min(rest.size(), needle.longestMatchBytes());
    // The longest: what composes with the last character belongs to it.
    for (std::size_t size = longest; size > 0; --size) {
        if (needle.equals(rest.substr(0, size))) return begin + size;
    }
    return std::nullopt;
}

template <typename Needle>
std::vector<TextRange> occurrences(const Needle& needle, std::string_view text) {
    std::vector<TextRange> ranges;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = occurrenceEnd(needle, text, at).value_or(at);
        if (end > at) ranges.push_back({at, end});
        at = std::max(end, at + 1);
    }
    return ranges;
}

std::vector<TextRange> globRanges(const GlobPattern& glob, std::string_view text) {
    const auto within = [&](std::size_t begin, std::size_t size) {
        return size > 0 && size <= text.size() ? std::vector{TextRange{begin, begin + size}}
                                               : std::vector<TextRange>{};
    };
    return std::visit(Overloaded{
                          [&](const GlobPattern::Prefix& prefix) { return within(0, prefix.bytes.size()); },
                          [&](const GlobPattern::Suffix& suffix) {
                              return within(text.size() - suffix.bytes.size(), suffix.bytes.size());
                          },
                          [&](const ByteNeedle& needle) { return occurrences(needle, text); },
                          [](const GlobPattern::General&) { return std::vector<TextRange>{}; },
                      },
                      glob.kind());
}

}  // namespace

std::string_view stemOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot);
}

TextMatcher::Engine TextMatcher::substringEngine(std::string_view text, bool caseSensitive) {
    if (isAscii(text)) return ByteNeedle(text, caseSensitive);
    return UnicodeNeedle(text, caseSensitive);
}

TextMatcher::Engine TextMatcher::wholeWordEngine(std::string_view text, bool caseSensitive) {
    const std::string pattern =
        R"((?<![\p{L}\p{N}]))" + RegularExpression::escapedPattern(text) + R"((?![\p{L}\p{N}]))";
    if (auto expression = RegularExpression::compile(pattern, caseSensitive)) return *std::move(expression);
    return Never{};
}

TextMatcher::Engine TextMatcher::unicodeGlobEngine(std::string_view text, bool caseSensitive) {
    if (auto expression = RegularExpression::compile(unicodeGlobPattern(text), caseSensitive)) {
        return *std::move(expression);
    }
    return Never{};
}

TextMatcher::Engine TextMatcher::makeEngine(std::string_view text, bool caseSensitive, bool wholeWord) {
    if (wholeWord) return wholeWordEngine(text, caseSensitive);
    const bool hasWildcard = text.find_first_of("*?") != std::string_view::npos;
    if (!hasWildcard) return substringEngine(text, caseSensitive);
    if (!isAscii(text)) return unicodeGlobEngine(text, caseSensitive);
    return GlobPattern::compile(text, caseSensitive);
}

TextMatcher::TextMatcher(MatchTarget target, std::string_view text, bool caseSensitive, Engine engine)
    : target_(target), text_(text), caseSensitive_(caseSensitive), engine_(std::move(engine)) {}

TextMatcher::TextMatcher(MatchTarget target, std::string_view text, bool caseSensitive, bool wholeWord)
    : TextMatcher(target, text, caseSensitive, makeEngine(text, caseSensitive, wholeWord)) {
    wholeWord_ = wholeWord;
    if (std::holds_alternative<RegularExpression>(engine_)) wordLiteral_ = longestWordLiteral();
    if (target != MatchTarget::fullPath) requiredSignature_ = nameSignature(requiredLiteral());
}

TextMatcher TextMatcher::anyOf(MatchTarget target, std::span<const std::string_view> texts,
                               bool caseSensitive) {
    if (!isAscii(texts.front())) return {target, "", caseSensitive, UnicodeNeedleSet(texts, caseSensitive)};
    return {target, "", caseSensitive, NeedleSet(texts, caseSensitive)};
}

TextMatcher TextMatcher::pieceOfPath(std::string_view text, bool caseSensitive) {
    return {MatchTarget::fullPath, text, caseSensitive, substringEngine(text, caseSensitive)};
}

std::string TextMatcher::rankedText() const {
    if (wholeWord_) return text_;
    const std::size_t first = std::min(text_.find_first_not_of('*'), text_.size());
    return text_.substr(first, text_.find_last_not_of('*') + 1 - first);
}

std::string TextMatcher::longestWordLiteral() const {
    const std::string pattern = wholeWord_ ? RegularExpression::escapedPattern(text_)
                                           : unicodeGlobPattern(text_).substr(anyCharacterMode.size());
    return longestOf(RegexLiterals::literalRuns(pattern, caseSensitive_));
}

bool TextMatcher::matchesText(std::string_view text) const {
    return std::visit(Overloaded{
                          [&](const ByteNeedle& needle) { return needle.foundIn(text); },
                          [&](const GlobPattern& glob) { return glob.matches(text); },
                          [&](const UnicodeNeedle& needle) { return needle.foundIn(text); },
                          [&](const RegularExpression& expression) { return expression.foundIn(text); },
                          [&](const NeedleSet& needles) { return needles.foundIn(text); },
                          [&](const UnicodeNeedleSet& needles) { return needles.foundIn(text); },
                          [](const Never&) { return false; },
                      },
                      engine_);
}

std::vector<TextRange> TextMatcher::rangesIn(std::string_view text) const {
    if (!matchesText(text)) return {};
    return std::visit(Overloaded{
                          [&](const ByteNeedle& needle) { return occurrences(needle, text); },
                          [&](const UnicodeNeedle& needle) { return occurrences(needle, text); },
                          [&](const GlobPattern& glob) { return globRanges(glob, text); },
                          [&](const RegularExpression& expression) {
                              const auto range = wholeWord_ ? expression.firstRange(text) : std::nullopt;
                              return range ? std::vector{*range} : std::vector<TextRange>{};
                          },
                          [](const auto&) { return std::vector<TextRange>{}; },
                      },
                      engine_);
}

std::string TextMatcher::requiredLiteral() const {
    return std::visit(Overloaded{
                          [](const ByteNeedle& needle) { return needle.bytes(); },
                          [](const GlobPattern& glob) { return glob.requiredLiteral(); },
                          [&](const RegularExpression&) { return wordLiteral_; },
                          [](const auto&) { return std::string{}; },
                      },
                      engine_);
}

bool TextMatcher::needsNonAscii() const {
    return std::visit(Overloaded{
                          [](const UnicodeNeedle& needle) { return !needle.foldedIsAscii(); },
                          [](const UnicodeNeedleSet& needles) { return needles.needsNonAscii(); },
                          [](const auto&) { return false; },
                      },
                      engine_);
}

std::int64_t TextMatcher::abandonedMatches() const {
    const auto* expression = std::get_if<RegularExpression>(&engine_);
    return expression == nullptr ? 0 : expression->abandonedMatches();
}

}  // namespace dovra
