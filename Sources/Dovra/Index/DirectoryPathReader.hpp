#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Index/DirectoryTable.hpp"

namespace dovra {

/// Fills a directory table from whole paths in the order of their positions, as untrusted input has them.
///
/// In the order of a scan a folder's parent is the folder before it or lies above that one, so the ancestors
/// of the last path are kept at hand: most parents are found by comparing two neighbouring paths, without
/// looking anything up.
class DirectoryPathReader {
public:
    explicit DirectoryPathReader(DirectoryTable& directories) : directories_(directories) {}

    /// Adds the next folder. False when its path is not the one way to write an absolute path (empty, "." or
    /// ".." components, a NUL, a slash at the end), was there before, or is one too many without a parent.
    bool add(std::string_view path);

private:
    struct Ancestor {
        std::size_t length;  ///< of its path, which is the start of the last one; 0 for "/"
        DirIndex folder;
    };

    std::optional<DirIndex> parentOf(std::string_view path, std::size_t parentLength);
    bool addRoot(std::string_view path);

    DirectoryTable& directories_;
    std::string lastPath_;
    std::vector<Ancestor> ancestors_;  ///< of the last path, it included, the longest last
};

}  // namespace dovra
