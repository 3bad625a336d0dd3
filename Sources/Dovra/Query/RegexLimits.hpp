#pragma once

#include <cstdint>
#include <unordered_map>

#include "Index/FileIndex.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// How many steps the regular expressions of a query may take for one name or path, so that all entries
/// together are answered soon. Measured on a sample, evenly spread over the index: the same index always
/// gives the same limits, and with them the same matches, whatever threads and processor there are.
class RegexLimits {
public:
    /// The index's read lock is held. Takes a few milliseconds, 0.1 s where expressions are endless.
    RegexLimits(const FileIndex& index, const QueryTree& tree);

    /// Of a node of the tree.
    std::uint32_t of(const RegexNode& regex) const {
        const auto known = limits_.find(&regex);
        return known == limits_.end() ? RegularExpression::mostSteps : known->second;
    }

private:
    std::unordered_map<const RegexNode*, std::uint32_t> limits_;  ///< those below the largest
};

}  // namespace dovra
