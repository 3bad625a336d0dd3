#pragma once

#include <cstdint>
#include <unordered_map>

#include "Index/FileIndex.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// Limits the steps of a query's regular expressions for one name or path, so that a search is soon done. The
/// limits are measured on a sample, evenly spread over the index. The same index always gives the same
/// limits, and so the same matches, on any processor and number of threads.
class RegexLimits {
public:
    /// The index's read lock is held. Takes a few milliseconds, or 0.1 s for endless expressions.
    RegexLimits(const FileIndex& index, const QueryTree& tree);

    /// The limit of a node of the tree.
    std::uint32_t of(const RegexNode& regex) const {
        const auto known = limits_.find(&regex);
        return known == limits_.end() ? RegularExpression::mostSteps : known->second;
    }

private:
    std::unordered_map<const RegexNode*, std::uint32_t> limits_;  ///< the limits below `mostSteps`
};

}  // namespace dovra
