#pragma once

#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "Analysis/DuplicateCandidates.hpp"
#include "Analysis/DuplicateFinder.hpp"
#include "Analysis/HashProgress.hpp"

namespace dovra {

/// Reads the candidates and returns the sets of those with equal contents: largest size first, then by first
/// member; each ascending, with its size in the index. Runs on all processors and returns when all is read;
/// takes no lock.
///
/// Only what still is a regular file counts, reached without following a link at the end of its path. A file
/// that cannot be opened or read, or that has grown since it was indexed, belongs to no set; one that has
/// shrunk counts with what it holds now. Files that are names of one file on disk (hard links) are equal
/// without being read for that; where others have the same size, it is read once for all its names. Once a
/// stop is requested it returns soon, and what it returns is worth nothing.
std::vector<DuplicateFinder::SizeGroup> contentDuplicateGroups(const DuplicateCandidates& candidates,
                                                               HashProgress& progress,
                                                               const std::stop_token& stop = {});

/// Answers one or two requests that are for the same range; `digests` is as long as `requests`.
using PairDigester = std::function<void(std::span<const DuplicateFinder::DigestRequest> requests,
                                        std::span<std::optional<Digest>> digests)>;

/// Answers a batch of requests for one range on all processors, or on the calling thread when that is as
/// fast. `answer` is called by any thread.
DuplicateFinder::Digests parallelDigests(std::span<const DuplicateFinder::DigestRequest> requests,
                                         const PairDigester& answer);

}  // namespace dovra
