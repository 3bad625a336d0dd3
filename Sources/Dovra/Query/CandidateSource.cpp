#include "Query/CandidateSource.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "Base/BitCount.hpp"
#include "Base/Overloaded.hpp"
#include "Query/NameProbe.hpp"
#include "Query/NameScan.hpp"
#include "Query/PathLiteral.hpp"
#include "Query/RegexLiterals.hpp"
#include "Query/SubsequenceScan.hpp"

namespace dovra {

namespace {

/// Each alternative of an OR costs a scan of its own; beyond a few, testing every entry once is cheaper.
constexpr std::size_t maxAlternatives = 4;

/// The depth to which terms are considered. Deeper terms rarely restrict much, and a query may be nested as
/// deep as it is long.
constexpr int maxDepth = 8;

class AllEntries : public CandidateSource {
public:
    void scan(EntryRange range, EntrySet& candidates) const override { candidates.insert(range); }
};

class NameLiteralSource : public CandidateSource {
public:
    NameLiteralSource(const FileIndex& index, std::string_view literal, bool fold)
        : index_(index), needle_(literal, fold, index.namePoolLocked()) {}
    void scan(EntryRange range, EntrySet& candidates) const override {
        scanNames(index_, needle_, range, candidates);
    }

private:
    const FileIndex& index_;
    const ScanNeedle needle_;
};

class NameNeedlesSource : public CandidateSource {
public:
    NameNeedlesSource(const FileIndex& index, const NeedleSet& needles) : index_(index), needles_(needles) {}
    void scan(EntryRange range, EntrySet& candidates) const override {
        scanNames(index_, needles_, range, candidates);
    }

private:
    const FileIndex& index_;
    const NeedleSet& needles_;
};

class PathLiteralSource : public CandidateSource {
public:
    PathLiteralSource(const FileIndex& index, std::string_view literal, bool fold)
        : literal_(index, literal, fold) {}
    void scan(EntryRange range, EntrySet& candidates) const override { literal_.scan(range, candidates); }

private:
    const PathLiteral literal_;
};

class SignatureSource : public CandidateSource {
public:
    SignatureSource(const FileIndex& index, NameSignature required) : index_(index), required_(required) {}

    void scan(EntryRange range, EntrySet& candidates) const override {
        const std::span<const NameSignature> signatures = index_.signaturesLocked();
        for (EntryId first = range.first; first < range.last; first += EntrySet::entriesPerWord)
            candidates.insertBits(first, probeSignatures(within(signatures, {first, range.last}), required_));
    }

private:
    const FileIndex& index_;
    const NameSignature required_;
};

class SubsequenceSource : public CandidateSource {
public:
    SubsequenceSource(const FileIndex& index, std::string_view pattern, bool fold)
        : index_(index), pattern_(pattern, fold) {}
    void scan(EntryRange range, EntrySet& candidates) const override {
        scanSubsequences(index_, pattern_, range, candidates);
    }

private:
    const FileIndex& index_;
    const Subsequence pattern_;
};

/// Sizes, times and types stand in the entries, which are read in order, and nothing else with them.
template <typename Test>
class AttributeSource : public CandidateSource {
public:
    AttributeSource(const FileIndex& index, Test test) : index_(index), test_(std::move(test)) {}

    void scan(EntryRange range, EntrySet& candidates) const override {
        const FileEntry* entries = index_.entriesLocked().data();
        for (EntryId first = range.first; first < range.last; first += EntrySet::entriesPerWord) {
            const EntryId count = std::min(EntrySet::entriesPerWord, range.last - first);
            std::uint64_t found = 0;
            for (EntryId i = 0; i < count; ++i) {
                __builtin_prefetch(entries + first + i + entriesAhead);
                found |= static_cast<std::uint64_t>(test_(entries[first + i])) << i;
            }
            if (found != 0) candidates.insertBits(first, found);
        }
    }

private:
    static constexpr EntryId entriesAhead = 128;

    const FileIndex& index_;
    const Test test_;
};

template <typename Test>
std::unique_ptr<CandidateSource> attributeSource(const FileIndex& index, Test test) {
    return std::make_unique<AttributeSource<Test>>(index, std::move(test));
}

/// The source of a node about an attribute.
std::unique_ptr<CandidateSource> attributeSource(const FileIndex& index, const QueryNode& node) {
    if (const auto* size = std::get_if<SizeFilter>(&node)) {
        return attributeSource(index, [range = size->range()](const FileEntry& entry) {
            return !entry.isFolder() & (entry.size >= range.first) & (entry.size <= range.last);
        });
    }
    const DateNode& date = std::get<DateNode>(node);
    const DateFilter& filter = date.filter;
    if (date.field == DateField::modified)
        return attributeSource(index,
                               [filter](const FileEntry& entry) { return filter.matches(entry.modTime); });
    return attributeSource(index, [filter](const FileEntry& entry) { return filter.matches(entry.crTime); });
}

/// The entries that another source, which proves its node, leaves out. The candidates that `scan` is given
/// have none of the range's entries yet.
class ComplementSource : public CandidateSource {
public:
    explicit ComplementSource(std::unique_ptr<CandidateSource> excluded) : excluded_(std::move(excluded)) {}
    void scan(EntryRange range, EntrySet& candidates) const override {
        excluded_->scan(range, candidates);
        candidates.flip(range);
    }

private:
    const std::unique_ptr<CandidateSource> excluded_;
};

class UnionSource : public CandidateSource {
public:
    explicit UnionSource(std::vector<std::unique_ptr<CandidateSource>> sources)
        : sources_(std::move(sources)) {}
    void scan(EntryRange range, EntrySet& candidates) const override {
        for (const auto& source : sources_)
            source->scan(range, candidates);
    }

private:
    const std::vector<std::unique_ptr<CandidateSource>> sources_;
};

/// The restriction of a node on its matches, before a source is built from it.
struct Restriction {
    enum class Kind : std::uint8_t {
        none,
        nameLiteral,
        nameNeedles,
        pathLiteral,
        signature,
        subsequence,
        attribute,
        anyOf,
        noneOf
    };

    Kind kind = Kind::none;
    std::string literal;
    bool fold = true;
    const NeedleSet* needles = nullptr;
    NameSignature signature = 0;
    const QueryNode* attribute = nullptr;
    std::vector<Restriction> alternatives;
    /// A guess at how few entries pass; grows with the length of the literal.
    std::size_t selectivity = 0;
    /// Set when exactly the entries that match this node pass.
    std::optional<NodeIndex> proves;
};

constexpr std::size_t selectivityPerByte = 4;

Restriction onLiteral(MatchTarget target, std::string literal, bool fold) {
    const bool isPath = target == MatchTarget::fullPath;
    if (literal.empty() || (isPath && !PathLiteral::canSearch(literal))) return {};
    Restriction restriction;
    restriction.kind = isPath ? Restriction::Kind::pathLiteral : Restriction::Kind::nameLiteral;
    restriction.selectivity = literal.size() * selectivityPerByte;
    restriction.literal = std::move(literal);
    restriction.fold = fold;
    return restriction;
}

Restriction onSignature(NameSignature signature) {
    Restriction restriction;
    restriction.kind = Restriction::Kind::signature;
    restriction.signature = signature;
    restriction.selectivity = 1 + 2 * static_cast<std::size_t>(countBits(signature));
    return restriction;
}

Restriction ofFuzzy(const FuzzyMatcher& fuzzy, NodeIndex node) {
    Restriction restriction = onSignature(nameSignature(fuzzy.pattern()));
    restriction.kind = Restriction::Kind::subsequence;
    restriction.literal = fuzzy.pattern();
    restriction.fold = !fuzzy.caseSensitive();
    restriction.proves = node;
    return restriction;
}

Restriction anyOf(std::vector<Restriction> alternatives) {
    const bool helps = !alternatives.empty() && alternatives.size() <= maxAlternatives &&
                       std::ranges::none_of(alternatives, [](const Restriction& alternative) {
                           return alternative.kind == Restriction::Kind::none ||
                                  alternative.kind == Restriction::Kind::noneOf;
                       });
    if (!helps) return {};
    Restriction restriction;
    restriction.kind = Restriction::Kind::anyOf;
    restriction.selectivity = std::ranges::min(alternatives, {}, &Restriction::selectivity).selectivity;
    restriction.alternatives = std::move(alternatives);
    return restriction;
}

Restriction onNeedles(const NeedleSet& needles) {
    Restriction restriction;
    restriction.kind = Restriction::Kind::nameNeedles;
    restriction.needles = &needles;
    restriction.selectivity = selectivityPerByte;
    return restriction;
}

/// Less selective than all that is above: entries are larger than names.
Restriction ofAttribute(const QueryTree& tree, NodeIndex node) {
    Restriction restriction;
    restriction.kind = Restriction::Kind::attribute;
    restriction.attribute = &tree[node];
    restriction.selectivity = 2;
    restriction.proves = node;
    return restriction;
}

Restriction restrictionOf(const QueryTree& tree, NodeIndex node, int depth);

/// The least selective of all. The child must be proven; without that, more than its matches would be left
/// out. A union cannot take it, because it would flip the candidates of its other alternatives.
Restriction ofNegation(const QueryTree& tree, const NotNode& negation, NodeIndex node, int depth) {
    Restriction excluded = restrictionOf(tree, negation.child, depth + 1);
    if (excluded.proves != negation.child || excluded.kind == Restriction::Kind::noneOf) return {};
    Restriction restriction;
    restriction.kind = Restriction::Kind::noneOf;
    restriction.alternatives.push_back(std::move(excluded));
    restriction.selectivity = 1;
    restriction.proves = node;
    return restriction;
}

Restriction ofText(const TextMatcher& text, NodeIndex node) {
    if (text.needsNonAscii() && text.target() != MatchTarget::fullPath)
        return onSignature(NameSignature{1} << nonAsciiBit);
    const bool hasNeedles = text.needles() != nullptr && text.target() != MatchTarget::fullPath;
    Restriction restriction = hasNeedles
                                  ? onNeedles(*text.needles())
                                  : onLiteral(text.target(), text.requiredLiteral(), !text.isCaseSensitive());
    const bool isWhole = (hasNeedles || text.isPlainSubstring()) && text.target() != MatchTarget::stem;
    if (isWhole && restriction.kind != Restriction::Kind::none) restriction.proves = node;
    return restriction;
}

Restriction ofRegex(const RegexNode& regex) {
    std::vector<std::string> runs = RegexLiterals::literalRuns(regex.pattern, regex.caseSensitive);
    if (runs.empty()) return {};
    return onLiteral(regex.target, std::move(*std::ranges::max_element(runs, {}, &std::string::size)), true);
}

Restriction ofExtensions(const ExtensionList& list) {
    if (list.extensions().size() > maxAlternatives) return {};
    std::vector<Restriction> alternatives;
    for (const std::string& extension : list.extensions()) {
        alternatives.push_back(onLiteral(MatchTarget::name, "." + extension, true));
    }
    return anyOf(std::move(alternatives));
}

/// The most selective restriction of the terms that must all match.
Restriction ofConjunction(const QueryTree& tree, const AndNode& conjunction, int depth) {
    Restriction best;
    for (const NodeIndex child : conjunction.children) {
        Restriction restriction = restrictionOf(tree, child, depth + 1);
        if (restriction.selectivity > best.selectivity) best = std::move(restriction);
    }
    return best;
}

Restriction ofDisjunction(const QueryTree& tree, const OrNode& disjunction, NodeIndex node, int depth) {
    if (disjunction.children.size() > maxAlternatives) return {};
    std::vector<Restriction> alternatives;
    alternatives.reserve(disjunction.children.size());
    for (const NodeIndex child : disjunction.children)
        alternatives.push_back(restrictionOf(tree, child, depth + 1));
    // The disjunction is proven if its children themselves are proven, not terms inside them.
    const bool allProven = std::ranges::equal(alternatives, disjunction.children, {}, &Restriction::proves,
                                              [](NodeIndex child) { return std::optional(child); });
    Restriction restriction = anyOf(std::move(alternatives));
    if (allProven && restriction.kind != Restriction::Kind::none) restriction.proves = node;
    return restriction;
}

Restriction restrictionOf(const QueryTree& tree, NodeIndex node, int depth) {
    if (depth > maxDepth) return {};
    return std::visit(
        Overloaded{
            [&](const TextMatcher& text) { return ofText(text, node); },
            [&](const RegexNode& regex) { return ofRegex(regex); },
            [&](const ExtensionList& extensions) { return ofExtensions(extensions); },
            [&](const FuzzyMatcher& fuzzy) { return ofFuzzy(fuzzy, node); },
            [&](const SizeFilter&) { return ofAttribute(tree, node); },
            [&](const DateNode&) { return ofAttribute(tree, node); },
            [&](const NotNode& negation) { return ofNegation(tree, negation, node, depth); },
            [&](const AndNode& conjunction) { return ofConjunction(tree, conjunction, depth); },
            [&](const OrNode& disjunction) { return ofDisjunction(tree, disjunction, node, depth); },
            [](const auto&) { return Restriction{}; },
        },
        tree[node]);
}

std::unique_ptr<CandidateSource> makeSource(const FileIndex& index, const Restriction& restriction) {
    switch (restriction.kind) {
        case Restriction::Kind::none:
            break;
        case Restriction::Kind::nameLiteral:
            return std::make_unique<NameLiteralSource>(index, restriction.literal, restriction.fold);
        case Restriction::Kind::nameNeedles:
            return std::make_unique<NameNeedlesSource>(index, *restriction.needles);
        case Restriction::Kind::pathLiteral:
            return std::make_unique<PathLiteralSource>(index, restriction.literal, restriction.fold);
        case Restriction::Kind::signature:
            return std::make_unique<SignatureSource>(index, restriction.signature);
        case Restriction::Kind::subsequence:
            return std::make_unique<SubsequenceSource>(index, restriction.literal, restriction.fold);
        case Restriction::Kind::attribute:
            return attributeSource(index, *restriction.attribute);
        case Restriction::Kind::noneOf:
            return std::make_unique<ComplementSource>(makeSource(index, restriction.alternatives.front()));
        case Restriction::Kind::anyOf: {
            std::vector<std::unique_ptr<CandidateSource>> sources;
            sources.reserve(restriction.alternatives.size());
            for (const Restriction& alternative : restriction.alternatives) {
                sources.push_back(makeSource(index, alternative));
            }
            return std::make_unique<UnionSource>(std::move(sources));
        }
    }
    return std::make_unique<AllEntries>();
}

}  // namespace

CandidatePlan planCandidates(const FileIndex& index, const QueryTree& tree) {
    const Restriction restriction = restrictionOf(tree, tree.root(), 0);
    return {.source = makeSource(index, restriction), .provenNode = restriction.proves};
}

}  // namespace dovra
