#pragma once

#include <fmt/format.h>
#include <string>
#include <string_view>

#include "Base/Overloaded.hpp"
#include "Query/QueryParser.hpp"

namespace dovra::test {

class QueryPrinter {
public:
    explicit QueryPrinter(const QueryTree& tree) : tree_(tree) {}

    /// The tree below a node as text such as "and(a, or(b, not(c)))". A text on names is its text alone;
    /// "*" stands for every entry and "^" marks a test that counts case.
    std::string print(NodeIndex node) const {
        return std::visit(
            Overloaded{
                [&](const AndNode& conjunction) { return list("and", conjunction.children); },
                [&](const OrNode& disjunction) { return list("or", disjunction.children); },
                [&](const NotNode& negation) { return fmt::format("not({})", print(negation.child)); },
                [&](const TextMatcher& text) {
                    return onTarget(text.target(), marked(text.text(), text.isCaseSensitive()));
                },
                [](const ExtensionList& list) {
                    return fmt::format("ext({})", fmt::join(list.extensions(), ","));
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
                    const std::string pattern = fmt::format("/{}/", regex.pattern);
                    return onTarget(regex.target, marked(pattern, regex.caseSensitive));
                },
                [](const ContentMatcher& content) { return fmt::format("content({})", content.needle()); },
                [](const FuzzyMatcher& fuzzy) {
                    return marked(fmt::format("fuzzy({})", fuzzy.pattern()), fuzzy.caseSensitive());
                },
                [](const SimilarMatcher& similar) {
                    return fmt::format("similar({})", similar.queryTrigrams().size());
                },
                [](const TagMatcher& tag) { return fmt::format("tag({})", tag.needle()); },
                [](const MatchAllNode&) { return std::string("*"); },
            },
            tree_[node]);
    }

private:
    std::string list(std::string_view name, const std::vector<NodeIndex>& children) const {
        std::string inner;
        for (const NodeIndex child : children)
            inner += (inner.empty() ? "" : ", ") + print(child);
        return fmt::format("{}({})", name, inner);
    }

    static std::string marked(const std::string& text, bool caseSensitive) {
        return caseSensitive ? text + "^" : text;
    }

    static std::string onTarget(MatchTarget target, const std::string& text) {
        if (target == MatchTarget::name) return text;
        return fmt::format("{}({})", target == MatchTarget::stem ? "stem" : "path", text);
    }

    const QueryTree& tree_;
};

inline std::string printed(const CompiledQuery& query) {
    return QueryPrinter(query.tree).print(query.tree.root());
}

}  // namespace dovra::test
