#pragma once

#include <cstdint>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The first `limit` of the entries (ascending identifiers) in the order of their full paths' bytes,
/// ASCII-folded. Equal paths keep the index's order in both directions. The index's read lock is held.
std::vector<EntryId> pathOrderLocked(const FileIndex& index, std::vector<EntryId> ids, bool ascending,
                                     std::int64_t limit);

}  // namespace dovra
