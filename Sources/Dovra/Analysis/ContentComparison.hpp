#pragma once

#include <stop_token>
#include <vector>

#include "Analysis/DuplicateCandidates.hpp"
#include "Analysis/DuplicateFinder.hpp"
#include "Analysis/Hashing.hpp"

namespace dovra {

/// Reads the candidates and returns the sets of those with equal contents: largest size first, then by first
/// member; each ascending, with its size in the index. Runs on all processors and returns when all is read;
/// takes no lock.
///
/// Only what still is a regular file counts, reached without following a link at the end of its path. A file
/// that cannot be opened or read, or that has grown since it was indexed, belongs to no set; one that has
/// shrunk counts with what it holds now. Names that share device and inode (hard links) are one file: the
/// candidate with the lowest identifier stands for it, and the others belong to no set. Once a
/// stop is requested it returns soon, and what it returns is worth nothing.
std::vector<DuplicateFinder::SizeGroup> contentDuplicateGroups(const DuplicateCandidates& candidates,
                                                               HashProgress& progress,
                                                               const std::stop_token& stop = {});

}  // namespace dovra
