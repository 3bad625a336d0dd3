#pragma once

#include <stop_token>

#include "Index/FileIndex.hpp"
#include "Platform/ChangeFeed.hpp"

namespace dovra {

/// The folders whose lists of names may differ from what the index holds: those whose stamp is not known, or
/// is not the one that the disk gives now. What makes up for the history of changes that the system does not
/// keep. Asks the system once for each listed folder, on all processors and without the lock: 50 000 folders
/// take some 0.1 s when the system has them in memory. What is too deep to be asked about is told as a
/// subtree of the nearest folder above that is not. A file that was changed in place does not change its
/// folder, and is not found. A request to stop ends it soon.
ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop = {});

}  // namespace dovra
