#pragma once

#include <string>

#include "Index/FileIndex.hpp"

namespace dovra::test {

/// Gives each listed folder its present stamp on the disk, as if the index were old enough to trust it. A
/// folder whose path is too long gets a stamp that no folder has.
inline void trustStamps(FileIndex& index) {
    const WriteGuard guard(index.rwlock);
    for (std::size_t i = 0; i < index.directoriesLocked().count(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        index.setStampLocked(folder, folderStamp(index.directoriesLocked().path(folder)));
    }
}

}  // namespace dovra::test
