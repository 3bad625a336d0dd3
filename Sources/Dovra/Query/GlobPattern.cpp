#include "Query/GlobPattern.hpp"

#include <algorithm>

#include "Base/AsciiFold.hpp"
#include "Base/Overloaded.hpp"

namespace dovra {

namespace {

GlobPattern::Kind recognise(const std::string& pattern, bool fold) {
    const auto stars = static_cast<std::size_t>(std::ranges::count(pattern, '*'));
    const bool startsWithStar = pattern.starts_with('*');
    const bool endsWithStar = pattern.ends_with('*');
    if (stars == pattern.size()) return ByteNeedle("", !fold);
    if (pattern.find('?') != std::string::npos) return GlobPattern::General{pattern};
    if (stars == 2 && startsWithStar && endsWithStar)
        return ByteNeedle(pattern.substr(1, pattern.size() - 2), !fold);
    if (stars == 1 && startsWithStar) return GlobPattern::Suffix{pattern.substr(1)};
    if (stars == 1 && endsWithStar) return GlobPattern::Prefix{pattern.substr(0, pattern.size() - 1)};
    return GlobPattern::General{pattern};
}

/// The wildcard match. It only ever goes back to the last "*": the pattern before that has matched at the
/// earliest place already.
bool globMatch(std::string_view pattern, std::string_view text, bool fold) {
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string_view::npos;
    std::size_t starText = 0;
    while (t < text.size()) {
        const char c = fold ? asciiFold(text[t]) : text[t];
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starText = t;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == c)) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::string longestRun(std::string_view pattern) {
    std::string_view longest;
    while (!pattern.empty()) {
        const std::string_view run = pattern.substr(0, pattern.find_first_of("*?"));
        if (run.size() > longest.size()) longest = run;
        pattern.remove_prefix(std::min(run.size() + 1, pattern.size()));
    }
    return std::string(longest);
}

}  // namespace

GlobPattern GlobPattern::compile(std::string_view pattern, bool caseSensitive) {
    const bool fold = !caseSensitive;
    return {recognise(fold ? asciiFolded(pattern) : std::string(pattern), fold), fold};
}

bool GlobPattern::matches(std::string_view text) const {
    return std::visit(Overloaded{
                          [&](const Prefix& prefix) {
                              return equalFolding(text.substr(0, prefix.bytes.size()), prefix.bytes, fold_);
                          },
                          [&](const Suffix& suffix) {
                              return text.size() >= suffix.bytes.size() &&
                                     equalFolding(text.substr(text.size() - suffix.bytes.size()),
                                                  suffix.bytes, fold_);
                          },
                          [&](const ByteNeedle& contains) { return contains.foundIn(text); },
                          [&](const General& general) { return globMatch(general.pattern, text, fold_); },
                      },
                      kind_);
}

std::string GlobPattern::requiredLiteral() const {
    return std::visit(Overloaded{
                          [](const Prefix& prefix) { return prefix.bytes; },
                          [](const Suffix& suffix) { return suffix.bytes; },
                          [](const ByteNeedle& contains) { return contains.bytes(); },
                          [](const General& general) { return longestRun(general.pattern); },
                      },
                      kind_);
}

}  // namespace dovra
