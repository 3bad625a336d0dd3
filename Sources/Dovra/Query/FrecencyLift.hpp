#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// A match whose path has a boost.
struct LiftedMatch {
    std::size_t position;  ///< among the matches
    std::int32_t boost;
};

/// Those of the matches (ascending identifiers) that the index's frecency lifts. Goes from the few paths with
/// a boost to the matches, so that it costs next to nothing for matches in other folders, and nothing without
/// boosts. The index's read lock is held.
std::vector<LiftedMatch> liftedMatchesLocked(const FileIndex& index, std::span<const EntryId> matches);

}  // namespace dovra
