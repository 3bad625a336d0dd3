#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The entries of these names in the folder's list, in the order of `names`; -1 for a name that it does not
/// have. The caller holds the lock. One pass over the list for all names: a few milliseconds for a million
/// entries.
std::vector<EntryId> entriesByNameLocked(const FileIndex& index, DirIndex folder,
                                         std::span<const std::string_view> names);

}  // namespace dovra
