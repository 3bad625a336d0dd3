#include "Diagnostics/SlowMatch.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <set>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Base/TextNeedle.hpp"

namespace dovra::slow {

namespace {

constexpr double leastSimilarity = 0.3;

std::string foldedUnless(bool caseSensitive, const std::string& text) {
    return caseSensitive ? text : folded(text);
}

enum class ByteKind : std::uint8_t { whitespace, delimiter, otherAscii, lower, upper, digit, nonAscii };

ByteKind kindOf(char c) {
    if (static_cast<unsigned char>(c) >= 128) return ByteKind::nonAscii;
    if (c == ' ' || c == '\t') return ByteKind::whitespace;
    if (c == ',' || c == '-' || c == '.' || c == '/' || c == ':' || c == ';' || c == '_')
        return ByteKind::delimiter;
    if (c >= 'a' && c <= 'z') return ByteKind::lower;
    if (c >= 'A' && c <= 'Z') return ByteKind::upper;
    if (c >= '0' && c <= '9') return ByteKind::digit;
    return ByteKind::otherAscii;
}

int boundaryBonus(ByteKind previous, ByteKind current) {
    const bool isWordByte = current == ByteKind::lower || current == ByteKind::upper ||
                            current == ByteKind::digit || current == ByteKind::nonAscii;
    if (!isWordByte || previous == ByteKind::nonAscii) return 0;
    if (previous == ByteKind::whitespace) return 10;
    if (previous == ByteKind::delimiter) return 9;
    if (previous == ByteKind::otherAscii) return 8;
    if (previous == ByteKind::lower && (current == ByteKind::upper || current == ByteKind::digit)) return 7;
    if (previous == ByteKind::digit && current != ByteKind::digit) return 7;
    return 0;
}

/// What a matched byte adds beside its 16 points, given the boundary bonus that stands here (0 for none), the
/// length of the run of matches that it continues, and the bonus that this run carries.
int matchBonus(int boundary, int runLength, int& carried) {
    if (runLength == 0) {
        carried = boundary;
        return boundary;
    }
    if (boundary == 0) return carried < 5 ? 4 : carried;
    if (carried >= boundary) return carried;
    if (boundary != 7) carried = boundary;
    return boundary;
}

std::set<std::string> trigrams(const std::string& text) {
    std::set<std::string> set;
    for (std::size_t i = 0; i + 3 <= text.size(); ++i)
        set.insert(folded(text.substr(i, 3)));
    return set;
}

bool isUpper(char c) {
    return kindOf(c) == ByteKind::upper;
}

bool isLetterOrDigit(char c) {
    return kindOf(c) != ByteKind::whitespace && kindOf(c) != ByteKind::delimiter &&
           kindOf(c) != ByteKind::otherAscii;
}

bool isWordStart(const std::string& name, std::size_t at) {
    if (!isLetterOrDigit(name[at])) return false;
    return !isLetterOrDigit(name[at - 1]) || (isUpper(name[at]) && !isUpper(name[at - 1]));
}

}  // namespace

std::string folded(const std::string& text) {
    std::string result = text;
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

bool contains(const std::string& text, const std::string& needle, bool caseSensitive) {
    return foldedUnless(caseSensitive, text).find(foldedUnless(caseSensitive, needle)) != std::string::npos;
}

bool globMatches(const std::string& rawPattern, const std::string& rawText, bool caseSensitive) {
    const std::string pattern = foldedUnless(caseSensitive, rawPattern);
    const std::string text = foldedUnless(caseSensitive, rawText);
    // matches[t]: whether the part of the pattern that was read so far describes the first t bytes.
    std::vector<bool> matches(text.size() + 1, false);
    matches[0] = true;
    for (const char p : pattern) {
        std::vector<bool> next(text.size() + 1, false);
        for (std::size_t t = 0; t <= text.size(); ++t) {
            if (p == '*') {
                next[t] = matches[t] || (t > 0 && next[t - 1]);
            } else if (t > 0 && (p == '?' || p == text[t - 1])) {
                next[t] = matches[t - 1];
            }
        }
        matches = next;
    }
    return matches[text.size()];
}

std::string stem(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::optional<std::string> extension(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return std::nullopt;
    return name.substr(dot + 1);
}

std::optional<std::int32_t> fuzzyScore(const std::string& term, const std::string& name, bool caseSensitive) {
    const std::string pattern = foldedUnless(caseSensitive, term);
    const std::string text = foldedUnless(caseSensitive, name);
    std::size_t matched = 0;
    int score = 0;
    bool inGap = false;
    int runLength = 0;
    int carried = 0;
    ByteKind previous = ByteKind::whitespace;
    for (std::size_t i = 0; i < name.size() && matched < pattern.size(); ++i) {
        const ByteKind current = kindOf(name[i]);
        if (text[i] == pattern[matched]) {
            const int bonus = matchBonus(boundaryBonus(previous, current), runLength, carried);
            score += 16 + (matched == 0 ? 2 * bonus : bonus);
            ++matched;
            ++runLength;
            inGap = false;
        } else {
            if (matched > 0) score -= inGap ? 1 : 3;
            inGap = matched > 0;
            runLength = 0;
        }
        previous = current;
    }
    if (matched < pattern.size()) return std::nullopt;
    return std::max(score, 0);
}

std::optional<std::int32_t> similarScore(const std::string& sample, const std::string& name) {
    const std::set<std::string> wanted = trigrams(sample);
    const std::set<std::string> present = trigrams(name);
    std::size_t shared = 0;
    for (const std::string& trigram : present)
        shared += wanted.count(trigram);
    if (shared == 0) return std::nullopt;
    const std::size_t either = wanted.size() + present.size() - shared;
    const double similarity = static_cast<double>(shared) / static_cast<double>(either);
    if (similarity < leastSimilarity) return std::nullopt;
    return static_cast<std::int32_t>(std::round(similarity * 1000));
}

int meeting(const std::string& term, const std::string& name, bool caseSensitive) {
    // No name has a slash, so that it can mark where a text begins and ends.
    const auto found = [caseSensitive](const std::string& needle, const std::string& text) {
        return isAscii(needle) ? contains(text, needle, caseSensitive)
                               : UnicodeNeedle(needle, caseSensitive).foundIn(text);
    };
    if (term.empty() || !found(term, name)) return 5;
    if (found(fmt::format("/{}/", term), fmt::format("/{}/", name))) return 0;
    if (found(fmt::format("/{}/", term), fmt::format("/{}/", stem(name)))) return 1;
    if (found(fmt::format("/{}", term), fmt::format("/{}", name))) return 2;
    for (std::size_t at = 1; at < name.size(); ++at) {
        if (isWordStart(name, at) && found(fmt::format("/{}", term), fmt::format("/{}", name.substr(at))))
            return 3;
    }
    return 4;
}

}  // namespace dovra::slow
