#include "Query/NameMarks.hpp"

#include <algorithm>

#include "Base/AsciiFold.hpp"
#include "Base/Overloaded.hpp"

namespace dovra {

namespace {

using Ranges = std::vector<TextRange>;

Ranges textMarks(const TextMatcher& text, std::string_view name) {
    switch (text.target()) {
        case MatchTarget::name:
            return text.rangesIn(name);
        case MatchTarget::stem:
            return text.rangesIn(stemOf(name));
        case MatchTarget::fullPath:
            break;
    }
    return {};
}

Ranges regexMarks(const RegexNode& regex, std::string_view name) {
    if (regex.target != MatchTarget::name) return {};
    const auto range = regex.expression.firstRange(name);
    return range ? Ranges{*range} : Ranges{};
}

/// Each byte of the term where it first occurs behind the one before: as the score counts them.
Ranges fuzzyMarks(const FuzzyMatcher& fuzzy, std::string_view name) {
    Ranges ranges;
    std::size_t at = 0;
    for (const char wanted : fuzzy.pattern()) {
        while (at < name.size() && (fuzzy.caseSensitive() ? name[at] : asciiFold(name[at])) != wanted)
            ++at;
        if (at == name.size()) return {};
        ranges.push_back({at, at + 1});
        ++at;
    }
    return ranges;
}

Ranges marksOf(const QueryNode& term, std::string_view name) {
    return std::visit(Overloaded{
                          [&](const TextMatcher& text) { return textMarks(text, name); },
                          [&](const RegexNode& regex) { return regexMarks(regex, name); },
                          [&](const FuzzyMatcher& fuzzy) { return fuzzyMarks(fuzzy, name); },
                          [](const auto&) { return Ranges{}; },
                      },
                      term);
}

bool isWithinCharacter(std::string_view name, std::size_t position) {
    return position < name.size() && (name[position] & 0xC0) == 0x80;
}

TextRange widenedToCharacters(TextRange range, std::string_view name) {
    while (range.begin > 0 && isWithinCharacter(name, range.begin))
        --range.begin;
    while (isWithinCharacter(name, range.end))
        ++range.end;
    return range;
}

}  // namespace

std::vector<TextRange> nameMarks(std::span<const QueryNode> positiveTerms, std::string_view name) {
    Ranges all;
    for (const QueryNode& term : positiveTerms) {
        for (const TextRange& range : marksOf(term, name)) {
            if (range.begin < range.end) all.push_back(widenedToCharacters(range, name));
        }
    }
    std::ranges::sort(all, {}, &TextRange::begin);
    Ranges merged;
    for (const TextRange& range : all) {
        const bool touches = !merged.empty() && range.begin <= merged.back().end;
        if (touches)
            merged.back().end = std::max(merged.back().end, range.end);
        else
            merged.push_back(range);
    }
    return merged;
}

}  // namespace dovra
