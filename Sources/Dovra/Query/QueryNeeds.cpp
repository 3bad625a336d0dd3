#include "Query/QueryNeeds.hpp"

#include <algorithm>
#include <array>

#include "Base/Overloaded.hpp"

namespace dovra {

namespace {

/// What a name alone tells of a node. Ordered: an AND is as true as the least of its operands, an OR as the
/// greatest (Kleene's three-valued logic).
enum class Verdict : std::uint8_t { fails, open, holds };

Verdict verdict(bool holds) {
    return holds ? Verdict::holds : Verdict::fails;
}

/// For larger queries, which are rare, all attributes are read.
constexpr std::size_t largestJudgedTree = 64;

/// Whether an entry with this name can match.
bool canMatch(const QueryTree& tree, std::string_view name, bool isFolder) {
    std::array<Verdict, largestJudgedTree> known{};
    const auto of = [&](NodeIndex node) { return known[static_cast<std::size_t>(node)]; };
    const auto judge = Overloaded{
        [&](const AndNode& all) { return of(std::ranges::min(all.children, {}, of)); },
        [&](const OrNode& any) { return of(std::ranges::max(any.children, {}, of)); },
        [&](const NotNode& negation) {
            return static_cast<Verdict>(static_cast<int>(Verdict::holds) -
                                        static_cast<int>(of(negation.child)));
        },
        [&](const TextMatcher& text) {
            if (text.target() == MatchTarget::fullPath) return Verdict::open;
            return verdict(text.matches(name, [] { return std::string_view(); }));
        },
        [&](const ExtensionList& extensions) { return verdict(extensions.matches(name)); },
        [&](TypeFilter type) { return verdict(matches(type, isFolder)); },
        [&](const SizeFilter&) { return isFolder ? Verdict::fails : Verdict::open; },
        [](const auto&) { return Verdict::open; },
    };
    // Children stand before their parents.
    for (NodeIndex node = 0; node <= tree.root(); ++node)
        known[static_cast<std::size_t>(node)] = std::visit(judge, tree[node]);
    return of(tree.root()) != Verdict::fails;
}

bool usesAttributes(const CompiledQuery& query, SortSpec sort) {
    bool isUsed = query.wantsContentDuplicates || sort.key == SortSpec::Key::size ||
                  sort.key == SortSpec::Key::modified;
    for (NodeIndex node = 0; node <= query.tree.root(); ++node) {
        isUsed = isUsed || std::holds_alternative<SizeFilter>(query.tree[node]) ||
                 std::holds_alternative<DateNode>(query.tree[node]);
    }
    return isUsed;
}

}  // namespace

QueryNeeds queryNeeds(const CompiledQuery& query, SortSpec sort) {
    if (!usesAttributes(query, sort)) return {};
    QueryNeeds needs{.detail = ListingDetail::attributes};
    if (query.tree.size() <= largestJudgedTree) {
        needs.needsAttributes = [&tree = query.tree](std::string_view name, bool isFolder) {
            return canMatch(tree, name, isFolder);
        };
    }
    return needs;
}

}  // namespace dovra
