#pragma once

#include <string>
#include <vector>

namespace dovra {

/// What may have changed on the disk: hints where to look again, in no order, and not what to find there.
/// Absolute paths, raw bytes, each once.
struct ChangeBatch {
    /// Something changed at this path, or directly in the folder that is there.
    std::vector<std::string> paths = {};
    /// What is at this path, and is no folder, may have come, gone or changed. Nothing else in the folder
    /// that holds it is meant.
    std::vector<std::string> files = {};
    /// The folder at this path may hold anything else than before, at any depth: it was made, moved there or
    /// mounted there.
    std::vector<std::string> subtrees = {};
    /// Changes were lost; only a scan can tell what there is now.
    bool mustRescan = false;

    bool empty() const { return paths.empty() && files.empty() && subtrees.empty() && !mustRescan; }
};

}  // namespace dovra
