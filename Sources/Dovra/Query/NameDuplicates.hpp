#pragma once

#include "Index/FileIndex.hpp"
#include "Query/EntrySet.hpp"

namespace dovra {

/// Keeps the matches whose lower-cased name (Unicode, no locale) occurs at least twice among them, folders
/// included. The index's read lock is held.
void filterDuplicatesLocked(const FileIndex& index, EntrySet& matches);

}  // namespace dovra
