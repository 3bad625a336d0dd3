#include "Query/QueryProgram.hpp"

#include <span>
#include <utility>

#include "Base/Overloaded.hpp"

namespace dovra {

/// Emits the steps from the last to the first, because a step must know where its outcomes lead. An operator
/// that is being translated waits in `pending_` instead of on the call stack.
class QueryTranslation {
public:
    QueryTranslation(const QueryTree& tree, std::optional<NodeIndex> assumedTrue, QueryProgram& program)
        : tree_(tree), assumedTrue_(assumedTrue), program_(program) {}

    void run() {
        enter(tree_.root(), QueryProgram::accept, QueryProgram::reject);
        while (!pending_.empty())
            advance();
        program_.start_ = entered_;
    }

private:
    struct Operator {
        std::span<const NodeIndex> left;  ///< operands still to be translated, the last one first
        bool isAnd;
        std::int32_t whenTrue;
        std::int32_t whenFalse;
    };

    /// Translates a test at once, and lays an operator aside. `entered_` becomes the first step of the
    /// translation.
    void enter(NodeIndex node, std::int32_t whenTrue, std::int32_t whenFalse) {
        while (node != assumedTrue_ && std::holds_alternative<NotNode>(tree_[node])) {
            std::swap(whenTrue, whenFalse);
            node = std::get<NotNode>(tree_[node]).child;
        }
        if (node == assumedTrue_ || std::holds_alternative<MatchAllNode>(tree_[node])) {
            entered_ = whenTrue;
        } else if (const auto* conjunction = std::get_if<AndNode>(&tree_[node])) {
            entered_ = whenTrue;
            pending_.push_back({conjunction->children, true, whenTrue, whenFalse});
        } else if (const auto* disjunction = std::get_if<OrNode>(&tree_[node])) {
            entered_ = whenFalse;
            pending_.push_back({disjunction->children, false, whenTrue, whenFalse});
        } else {
            addStep(&tree_[node], whenTrue, whenFalse);
        }
    }

    /// An outcome that leads to the same test again skips that test, because its outcome is known.
    void addStep(const QueryNode* leaf, std::int32_t whenTrue, std::int32_t whenFalse) {
        const auto repeats = [&](std::int32_t step) { return step >= 0 && stepAt(step).leaf == leaf; };
        if (repeats(whenTrue)) whenTrue = stepAt(whenTrue).whenTrue;
        if (repeats(whenFalse)) whenFalse = stepAt(whenFalse).whenFalse;
        entered_ = static_cast<std::int32_t>(program_.steps_.size());
        program_.steps_.push_back({leaf, whenTrue, whenFalse});
    }

    const QueryProgram::Step& stepAt(std::int32_t step) const {
        return program_.steps_[static_cast<std::size_t>(step)];
    }

    /// Translates the last remaining operand of the innermost operator. It leads on to the operand behind it,
    /// which begins at `entered_`.
    void advance() {
        Operator& innermost = pending_.back();
        if (innermost.left.empty()) {
            pending_.pop_back();
            return;
        }
        const NodeIndex operand = innermost.left.back();
        innermost.left = innermost.left.first(innermost.left.size() - 1);
        const std::int32_t whenTrue = innermost.isAnd ? entered_ : innermost.whenTrue;
        const std::int32_t whenFalse = innermost.isAnd ? innermost.whenFalse : entered_;
        enter(operand, whenTrue, whenFalse);
    }

    const QueryTree& tree_;
    std::optional<NodeIndex> assumedTrue_;
    QueryProgram& program_;
    std::vector<Operator> pending_;
    std::int32_t entered_ = 0;
};

QueryProgram::QueryProgram(const QueryTree& tree, std::optional<NodeIndex> assumedTrue) {
    QueryTranslation(tree, assumedTrue, *this).run();
}

bool EntryMatcher::matches(EntryId id) {
    if (stop_.stop_requested()) return false;
    const auto position = static_cast<std::size_t>(id);
    const FileEntry& entry = index_.entriesLocked()[position];
    const NameSignature signature = index_.signaturesLocked()[position];
    const std::string_view name = index_.nameLocked(entry);
    return program_.run([&](const QueryNode& leaf) {
        const auto* text = std::get_if<TextMatcher>(&leaf);
        if (text != nullptr && (signature & text->requiredSignature()) != text->requiredSignature())
            return false;
        return test(leaf, entry, name);
    });
}

bool EntryMatcher::test(const QueryNode& leaf, const FileEntry& entry, std::string_view name) {
    const auto path = [&] { return fullPath(entry, name); };
    return std::visit(
        Overloaded{
            [&](const TextMatcher& text) { return text.matches(name, path); },
            [&](const ExtensionList& extensions) { return extensions.matches(name); },
            [&](const SizeFilter& size) { return !entry.isFolder() && size.matches(entry.size); },
            [&](const DateNode& date) {
                return date.filter.matches(date.field == DateField::modified ? entry.modTime : entry.crTime);
            },
            [&](TypeFilter type) { return dovra::matches(type, entry.isFolder()); },
            [&](const RegexNode& regex) {
                return regex.expression.foundIn(regex.target == MatchTarget::fullPath ? path() : name,
                                                limits_.of(regex));
            },
            [&](const ContentMatcher& content) {
                return !entry.isFolder() && !entry.isSymbolicLink() &&
                       content.matchesFile(std::string(path()), stop_);
            },
            [&](const FuzzyMatcher& fuzzy) { return fuzzy.score(name).has_value(); },
            [&](const SimilarMatcher& similar) { return similar.score(name).has_value(); },
            [&](const TagMatcher& tag) { return tag.matchesFile(std::string(path())); },
            [](const MatchAllNode&) { return true; },
            [](const auto&) { return false; },  // operators are not leaves
        },
        leaf);
}

std::string_view EntryMatcher::fullPath(const FileEntry& entry, std::string_view name) {
    if (entry.dirIndex != folder_) moveToFolder(entry.dirIndex);
    path_.resize(folderPathSize_);
    path_ += name;
    return path_;
}

void EntryMatcher::moveToFolder(DirIndex folder) {
    const FolderTable& folders = index_.directoriesLocked();
    if (folder_ >= 0 && folders.parent(folder) == folder_) {
        // The usual step of a walk. Building each path anew would make a very deep tree quadratic.
        path_.resize(folderPathSize_);
        path_ += folders.name(folder);
    } else {
        path_ = folders.path(folder);
    }
    if (!path_.ends_with('/')) path_ += '/';
    folderPathSize_ = path_.size();
    folder_ = folder;
}

}  // namespace dovra
