#include "Query/RegexLiterals.hpp"

#include <cstddef>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/Utf8.hpp"

namespace dovra::RegexLiterals {

namespace {

/// Characters that stand for themselves behind a backslash and are kept as literals.
constexpr std::string_view escapableCharacters = ".*+?()[]{}|^$\\/-";
/// Letters that complete an escape: classes, assertions and control characters.
constexpr std::string_view completeEscapeLetters = "dDwWsShHvVbBAzZGRXKNnrtfea";
/// An ill-formed sequence of a text becomes this before matching, so the text does not contain its bytes.
constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

bool isAsciiAlphanumeric(char c) {
    return isAsciiLetter(static_cast<std::uint8_t>(c)) || (c >= '0' && c <= '9');
}

/// The length of the first character of well-formed, non-empty UTF-8.
std::size_t characterLength(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && isContinuation(text[length]))
        ++length;
    return length;
}

/// The length of the counted repetition, such as "{2,3}", at the start of `text`; 0 if there is none. Forms
/// of all versions of the syntax count. If one is literal text after all, a run only gets shorter.
std::size_t countedQuantifierLength(std::string_view text) {
    const std::size_t end = text.find_first_not_of("0123456789, \t", 1);
    const bool isCounted = end != std::string_view::npos && text[end] == '}' &&
                           text.substr(0, end).find_first_of("0123456789") != std::string_view::npos;
    return isCounted ? end + 1 : 0;
}

/// Reads a pattern once from left to right and collects its literal runs.
class PatternReader {
public:
    PatternReader(std::string_view pattern, bool caseSensitive)
        : pattern_(repairUtf8(pattern)), caseSensitive_(caseSensitive) {}

    /// Reads the pattern; false if it cannot be followed.
    bool read() {
        while (position_ < pattern_.size()) {
            if (!readItem()) return false;
        }
        flush();
        return true;
    }

    bool sawTopLevelAlternation() const { return sawTopLevelAlternation_; }
    std::vector<std::string> takeRuns() { return std::move(runs_); }

private:
    bool readItem();
    void readOperatorOrLiteral();
    bool readEscape();
    bool openGroup();
    bool skipClass();
    bool skipClassMember();
    void readLiteral(std::string_view character);
    bool isCertain(std::string_view character) const;
    bool skipEscape();
    void dropLastCharacter();
    void flush();
    std::string_view rest() const { return std::string_view(pattern_).substr(position_); }

    const std::string pattern_;
    const bool caseSensitive_;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;  ///< of open groups; the run is empty within one
    std::string run_;
    std::vector<std::string> runs_;
    bool sawTopLevelAlternation_ = false;
};

/// Reads the item at the position and moves behind it; false if it cannot be followed.
bool PatternReader::readItem() {
    switch (pattern_[position_]) {
        case '\\':
            return readEscape();
        case '[':
            return skipClass();
        case '(':
            return openGroup();
        case ')':
            depth_ -= depth_ > 0 ? 1 : 0;
            ++position_;
            return true;
        default:
            readOperatorOrLiteral();
            return true;
    }
}

void PatternReader::readOperatorOrLiteral() {
    const std::string_view character = rest().substr(0, characterLength(rest()));
    const std::size_t countedLength = character == "{" ? countedQuantifierLength(rest()) : 0;
    const bool isCounted = countedLength > 0;
    sawTopLevelAlternation_ |= character == "|" && depth_ == 0;
    if (character == "?" || character == "*" || isCounted) dropLastCharacter();  // a match may lack it
    if (isCounted || std::string_view("?*+.^$|").find(character) != std::string_view::npos) {
        flush();
    } else {
        readLiteral(character);
    }
    position_ += isCounted ? countedLength : character.size();
}

bool PatternReader::readEscape() {
    const std::string_view escaped = rest().substr(1, 1);
    const bool isLiteral = !escaped.empty() && escapableCharacters.find(escaped) != std::string_view::npos;
    if (!skipEscape()) return false;
    if (isLiteral) {
        readLiteral(escaped);
    } else {
        flush();
    }
    return true;
}

/// Moves behind a backslash and the one character that belongs to it; false if more might belong to it.
bool PatternReader::skipEscape() {
    const std::string_view escaped = rest().substr(1);
    if (escaped.empty()) return false;
    const bool isComplete = completeEscapeLetters.find(escaped[0]) != std::string_view::npos;
    if (isAsciiAlphanumeric(escaped[0]) && !isComplete) return false;
    if (escaped.starts_with("N{")) return false;
    position_ += 1 + characterLength(escaped);
    return true;
}

/// A group ends the run and hides its contents, which may be optional, negative or one of several branches.
bool PatternReader::openGroup() {
    flush();
    ++depth_;
    ++position_;
    if (rest().starts_with('*')) return false;
    if (!rest().starts_with('?')) return true;
    const std::string_view kind = rest().substr(1, 1);
    if (kind.empty() || std::string_view(":=!><|").find(kind) == std::string_view::npos) return false;
    position_ += 2;
    return true;
}

bool PatternReader::skipClass() {
    flush();
    ++position_;
    if (rest().starts_with('^')) ++position_;
    if (rest().starts_with(']')) ++position_;  // the first member is literal even when it is a bracket
    while (!rest().empty() && rest()[0] != ']') {
        if (!skipClassMember()) return false;
    }
    if (rest().empty()) return false;
    ++position_;
    return true;
}

bool PatternReader::skipClassMember() {
    const std::string_view text = rest();
    if (text[0] == '\\') return skipEscape();
    if (text.starts_with("[.") || text.starts_with("[=")) return false;
    if (!text.starts_with("[:")) {
        ++position_;
        return true;
    }
    const std::size_t nameEnd =
        text.find_first_not_of("abcdefghijklmnopqrstuvwxyz", text.starts_with("[:^") ? 3 : 2);
    if (nameEnd == std::string_view::npos || !text.substr(nameEnd).starts_with(":]")) return false;
    position_ += nameEnd + 2;
    return true;
}

void PatternReader::readLiteral(std::string_view character) {
    if (!isCertain(character)) {
        flush();
    } else if (depth_ == 0) {
        run_ += character;
    }
}

/// Whether the character matches only its own bytes, up to ASCII case.
bool PatternReader::isCertain(std::string_view character) const {
    if (caseSensitive_) return character != replacementCharacter;
    const char folded = asciiFold(character[0]);
    return character.size() == 1 && folded != 'k' && folded != 's';
}

void PatternReader::dropLastCharacter() {
    while (!run_.empty() && isContinuation(run_.back()))
        run_.pop_back();
    if (!run_.empty()) run_.pop_back();
}

void PatternReader::flush() {
    if (!run_.empty()) runs_.push_back(std::exchange(run_, {}));
}

}  // namespace

bool hasTopLevelAlternation(std::string_view pattern) {
    PatternReader reader(pattern, true);
    return !reader.read() || reader.sawTopLevelAlternation();
}

std::vector<std::string> literalRuns(std::string_view pattern, bool caseSensitive) {
    PatternReader reader(pattern, caseSensitive);
    if (!reader.read() || reader.sawTopLevelAlternation()) return {};
    return reader.takeRuns();
}

TrigramSet requiredTrigrams(std::string_view pattern, bool caseSensitive) {
    std::vector<Trigram> required;
    for (const std::string& run : literalRuns(pattern, caseSensitive))
        forEachTrigram(run, [&](Trigram trigram) { required.push_back(trigram); });
    return trigramSet(std::move(required));
}

}  // namespace dovra::RegexLiterals
