#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The violated invariants of an index, each as a sentence for a person; empty when all hold. Only the first
/// few violations of each kind are listed. Every entry, name and folder is checked. Where the paths are so
/// long that checking all would be quadratic (a tree a hundred thousand levels deep), an even sample of the
/// folders is checked. Takes the index's read lock.
std::vector<std::string> indexViolations(const FileIndex& index);

/// The first difference between two indexes (folders, entries, names, lists), as a sentence; absent when they
/// are equal. Takes the read locks of both.
std::optional<std::string> indexDifference(const FileIndex& a, const FileIndex& b);

}  // namespace dovra
