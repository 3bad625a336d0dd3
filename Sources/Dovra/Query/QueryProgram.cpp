#include "Query/QueryProgram.hpp"

#include <span>
#include <utility>

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
        std::span<const NodeIndex> left;  ///< operands still to be translated, the last one next
        bool isAnd;
        std::int32_t whenTrue;
        std::int32_t whenFalse;
    };

    /// Translates a test at once, and lays an operator aside. `entered_` becomes where the translation
    /// begins.
    void enter(NodeIndex node, std::int32_t whenTrue, std::int32_t whenFalse) {
        while (const auto* negation = std::get_if<NotNode>(&tree_[node])) {
            std::swap(whenTrue, whenFalse);
            node = negation->child;
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

    /// An outcome that leads to the same test again leads on to where that test would: its outcome is known.
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

    /// Translates the last operand that is left of the innermost operator: it leads on to the one behind it,
    /// which is where `entered_` points.
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

}  // namespace dovra
