#pragma once

#include <memory>
#include <optional>

#include "Index/FileIndex.hpp"
#include "Query/EntrySet.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// A quick way to find every entry that can match, and a few that do not. The index's read lock is held while
/// one exists.
class CandidateSource {
public:
    CandidateSource() = default;
    CandidateSource(const CandidateSource&) = delete;
    CandidateSource& operator=(const CandidateSource&) = delete;
    virtual ~CandidateSource() = default;

    /// Adds the candidates of the range, tombstones included. The range begins at a multiple of 64. Any
    /// number of threads, on ranges that do not overlap.
    virtual void scan(EntryRange range, EntrySet& candidates) const = 0;
};

struct CandidatePlan {
    std::unique_ptr<CandidateSource> source;
    /// A node of the tree that holds for every candidate, so that it need not be tested again.
    std::optional<NodeIndex> provenNode;
};

/// Chooses the candidates of a query: of the terms that must all hold, the one with the longest literal is
/// looked for at the speed of memory, and the caller tests the others on its hits. A few microseconds, except
/// that a literal in paths looks at every folder once. The index's read lock is held.
CandidatePlan planCandidates(const FileIndex& index, const QueryTree& tree);

}  // namespace dovra
