#pragma once

#include <memory>
#include <optional>

#include "Index/EntrySet.hpp"
#include "Index/FileIndex.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// A quick search for every entry that can match, which also finds a few that do not. The index's read lock
/// is held for the object's life.
class CandidateSource {
public:
    CandidateSource() = default;
    CandidateSource(const CandidateSource&) = delete;
    CandidateSource& operator=(const CandidateSource&) = delete;
    virtual ~CandidateSource() = default;

    /// Adds the candidates of the range; tombstones may be among them. The range begins at a multiple of 64.
    /// Any number of threads may call it, on ranges that do not overlap.
    virtual void scan(EntryRange range, EntrySet& candidates) const = 0;
};

struct CandidatePlan {
    std::unique_ptr<CandidateSource> source;
    /// A node of the tree that is true for every candidate, and need not be tested.
    std::optional<NodeIndex> provenNode;
};

/// Plans the candidates of a query. Of the terms that must all match, the one with the longest literal is
/// searched at the speed of memory, and the caller tests the others on its hits. Planning takes a few
/// microseconds; only a literal in paths takes a pass over all folders. The index's read lock is held.
CandidatePlan planCandidates(const FileIndex& index, const QueryTree& tree);

}  // namespace dovra
