#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The violated invariants of an index, each in a sentence for a person; empty when all hold. Of one kind of
/// violation only the first few are told. Looks at every entry, name and folder; where the folder paths are
/// so long that looking at all would be quadratic (a tree a hundred thousand levels deep), at an even sample
/// of them. Takes the index's read lock.
std::vector<std::string> indexViolations(const FileIndex& index);

/// The first thing that tells two indexes apart (folders, entries, names, lists), in a sentence; absent when
/// they are equal. Takes the read locks of both.
std::optional<std::string> indexDifference(const FileIndex& a, const FileIndex& b);

}  // namespace dovra
