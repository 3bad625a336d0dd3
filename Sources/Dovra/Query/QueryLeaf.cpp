#include "Query/QueryLeaf.hpp"

#include <algorithm>

#include "Base/TextNeedle.hpp"
#include "Index/TrigramIndex.hpp"
#include "Query/QueryKeys.hpp"

namespace dovra {

namespace {

/// The least similarity for "similar:", as the share of trigrams that two names have in common.
constexpr double similarityThreshold = 0.3;

MatchTarget defaultTarget(std::string_view text, const QueryContext& context) {
    const bool looksAtPath = context.matchPath || text.find('/') != std::string_view::npos;
    return looksAtPath ? MatchTarget::fullPath : MatchTarget::name;
}

QueryNode plainText(std::string_view text, const QueryContext& context) {
    return TextMatcher(defaultTarget(text, context), text, context.caseSensitive, context.wholeWord);
}

/// The target of a key that names one; absent for other keys.
std::optional<MatchTarget> targetOf(QueryKey key) {
    switch (key) {
        case QueryKey::path:
            return MatchTarget::fullPath;
        case QueryKey::name:
            return MatchTarget::name;
        case QueryKey::stem:
            return MatchTarget::stem;
        default:
            return std::nullopt;
    }
}

QueryNode extensionLeaf(std::string_view value) {
    std::vector<std::string> extensions;
    while (!value.empty()) {
        const std::string_view piece = value.substr(0, value.find_first_of(";,"));
        if (!piece.empty()) extensions.push_back(lowercased(piece));
        value.remove_prefix(std::min(piece.size() + 1, value.size()));
    }
    if (extensions.empty()) return MatchAllNode{};
    return ExtensionList(std::move(extensions));
}

QueryNode regexLeaf(std::string_view pattern, const QueryContext& context) {
    auto expression = RegularExpression::compile(pattern, context.caseSensitive);
    if (!expression) return MatchAllNode{};
    const MatchTarget target = context.matchPath ? MatchTarget::fullPath : MatchTarget::name;
    return RegexNode{*std::move(expression), target, std::string(pattern), context.caseSensitive};
}

QueryNode dateLeaf(DateField field, std::string_view term, std::string_view value,
                   const QueryContext& context) {
    if (const auto filter = parseDate(value)) return DateNode{field, *filter};
    return plainText(term, context);
}

QueryNode sizeLeaf(std::string_view term, std::string_view value, const QueryContext& context) {
    if (const auto filter = parseSize(value)) return *filter;
    return plainText(term, context);
}

/// The leaf of a key that restricts nothing when its value is empty.
template <typename Make>
QueryNode unlessEmpty(std::string_view value, Make&& make) {
    if (value.empty()) return MatchAllNode{};
    return std::forward<Make>(make)();
}

QueryNode scopedText(QueryKey key, std::string_view value, QueryContext context) {
    if (key == QueryKey::caseSensitive) context.caseSensitive = true;
    if (key == QueryKey::caseInsensitive) context.caseSensitive = false;
    if (key == QueryKey::wholeWord) context.wholeWord = true;
    return plainText(value, context);
}

QueryNode keyedLeaf(QueryKey key, std::string_view term, std::string_view value,
                    const QueryContext& context) {
    switch (key) {
        case QueryKey::file:
            return TypeFilter::fileOnly;
        case QueryKey::folder:
            return TypeFilter::folderOnly;
        case QueryKey::extension:
            return extensionLeaf(value);
        case QueryKey::size:
            return sizeLeaf(term, value, context);
        case QueryKey::dateModified:
            return dateLeaf(DateField::modified, term, value, context);
        case QueryKey::dateCreated:
            return dateLeaf(DateField::created, term, value, context);
        case QueryKey::path:
        case QueryKey::name:
        case QueryKey::stem:
            return TextMatcher(*targetOf(key), value, context.caseSensitive, context.wholeWord);
        case QueryKey::caseSensitive:
        case QueryKey::caseInsensitive:
        case QueryKey::wholeWord:
            return scopedText(key, value, context);
        case QueryKey::regex:
            return regexLeaf(value, context);
        case QueryKey::fuzzy:
            return unlessEmpty(value, [&] {
                return FuzzyMatcher(value, context.caseSensitive || smartCaseSensitive(value));
            });
        case QueryKey::similar:
            return unlessEmpty(
                value, [&] { return SimilarMatcher(TrigramIndex::trigrams(value), similarityThreshold); });
        case QueryKey::content:
            return unlessEmpty(value,
                               [&] { return ContentMatcher(std::string(value), context.caseSensitive); });
        case QueryKey::tag:
            return TagMatcher(lowercased(value));
        case QueryKey::duplicates:
            return MatchAllNode{};
        case QueryKey::noPath:
        case QueryKey::noWholeWord:
        case QueryKey::emptyFolders:
            break;  // toggles only: with a value they are plain text
    }
    return plainText(term, context);
}

}  // namespace

QueryNode makeLeaf(std::string_view term, const QueryContext& context) {
    const auto [key, value] = splitKey(term);
    if (key.empty()) return plainText(term, context);
    if (const QueryKeyInfo* info = findQueryKey(key)) {
        if (value.empty() && info->isToggle) return MatchAllNode{};
        return keyedLeaf(info->key, term, value, context);
    }
    if (const auto extensions = Macros::extensions(key)) return ExtensionList(*extensions);
    return plainText(term, context);
}

std::optional<PlainTextTerm> plainTextTerm(std::string_view term, const QueryContext& context) {
    const auto [key, value] = splitKey(term);
    PlainTextTerm plain{term, defaultTarget(term, context), term, context.caseSensitive};
    if (!key.empty()) {
        const QueryKeyInfo* info = findQueryKey(key);
        const auto target = info == nullptr ? std::nullopt : targetOf(info->key);
        if (!target) return std::nullopt;
        plain.target = *target;
        plain.text = value;
    }
    const bool hasWildcard =
        plain.text.find('*') != std::string_view::npos || plain.text.find('?') != std::string_view::npos;
    if (context.wholeWord || hasWildcard || plain.text.empty()) return std::nullopt;
    return plain;
}

}  // namespace dovra
