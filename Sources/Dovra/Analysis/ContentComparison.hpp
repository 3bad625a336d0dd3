#pragma once

#include <stop_token>
#include <vector>

#include "Analysis/DuplicateCandidates.hpp"
#include "Analysis/DuplicateFinder.hpp"
#include "Analysis/Hashing.hpp"

namespace dovra {

/// Reads the candidates and returns the sets with equal contents: largest size first, then by first member;
/// each ascending, with its size in the index. Runs on all processors until all is read. Takes no lock.
///
/// Only regular files count, and no link at the end of a path is followed. A file that cannot be opened or
/// read, or that has grown since it was indexed, belongs to no set. A file that has shrunk counts with its
/// present contents. Names that share device and inode (hard links) are one file: the candidate with the
/// lowest identifier stands for it, and the others belong to no set. After a request to stop, the operation
/// returns soon, and its result is worthless.
std::vector<DuplicateFinder::SizeGroup> contentDuplicateGroups(const DuplicateCandidates& candidates,
                                                               HashProgress& progress,
                                                               const std::stop_token& stop = {});

}  // namespace dovra
