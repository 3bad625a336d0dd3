#pragma once

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Overloaded.hpp"
#include "Query/QueryParser.hpp"

namespace dovra::test {

/// The tree below a node as text such as "and(a, or(b, not(c)))". A text on names is its text alone; "*"
/// stands for every entry and "^" marks a test that counts case.
inline std::string printed(const QueryTree& tree, NodeIndex node) {
    const auto list = [&](std::string_view name, const std::vector<NodeIndex>& children) {
        std::vector<std::string> inner;
        for (const NodeIndex child : children)
            inner.push_back(printed(tree, child));
        return fmt::format("{}({})", name, fmt::join(inner, ", "));
    };
    const auto marked = [](const std::string& text, bool caseSensitive) {
        return caseSensitive ? text + "^" : text;
    };
    const auto onTarget = [](MatchTarget target, const std::string& text) {
        if (target == MatchTarget::name) return text;
        return fmt::format("{}({})", target == MatchTarget::stem ? "stem" : "path", text);
    };
    return std::visit(
        Overloaded{
            [&](const AndNode& conjunction) { return list("and", conjunction.children); },
            [&](const OrNode& disjunction) { return list("or", disjunction.children); },
            [&](const NotNode& negation) { return list("not", {negation.child}); },
            [&](const TextMatcher& text) {
                return onTarget(text.target(), marked(text.text(), text.isCaseSensitive()));
            },
            [](const ExtensionList& known) {
                return fmt::format("ext({})", fmt::join(known.extensions(), ","));
            },
            [](const SizeFilter& size) {
                constexpr std::string_view signs[] = {">", "<", ">=", "<=", "="};
                return fmt::format("size{}{}", signs[static_cast<std::size_t>(size.op)], size.bytes);
            },
            [](const DateNode& date) {
                return std::string(date.field == DateField::modified ? "modified" : "created");
            },
            [](TypeFilter type) { return std::string(type == TypeFilter::fileOnly ? "file" : "folder"); },
            [&](const RegexNode& regex) {
                return onTarget(regex.target, marked("/" + regex.pattern + "/", regex.caseSensitive));
            },
            [](const ContentMatcher& content) { return fmt::format("content({})", content.needle()); },
            [&](const FuzzyMatcher& fuzzy) {
                return marked(fmt::format("fuzzy({})", fuzzy.pattern()), fuzzy.caseSensitive());
            },
            [](const SimilarMatcher& similar) {
                return fmt::format("similar({})", similar.queryTrigrams().size());
            },
            [](const TagMatcher& tag) { return fmt::format("tag({})", tag.needle()); },
            [](const MatchAllNode&) { return std::string("*"); },
        },
        tree[node]);
}

inline std::string printed(const CompiledQuery& query) {
    return printed(query.tree, query.tree.root());
}

}  // namespace dovra::test
