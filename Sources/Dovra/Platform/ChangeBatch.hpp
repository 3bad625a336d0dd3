#pragma once

#include <string>
#include <vector>

namespace dovra {

/// Places on the disk that may have changed. They are hints where to look, in no order, and do not say what
/// is there. Absolute paths, raw bytes, each once.
struct ChangeBatch {
    /// A change at this path, or directly in the folder at this path.
    std::vector<std::string> paths = {};
    /// A file at this path, of any kind but a folder, came, went or changed. Nothing else in its folder did.
    std::vector<std::string> files = {};
    /// A folder was made at, moved to or mounted on this path. Anything below it may differ, at any depth.
    std::vector<std::string> subtrees = {};
    /// Changes were lost; only a scan shows the present state.
    bool mustRescan = false;

    bool empty() const { return paths.empty() && files.empty() && subtrees.empty() && !mustRescan; }
};

}  // namespace dovra
