#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Index/DirectoryTable.hpp"

namespace dovra {

/// Fills a directory table from whole paths in the order of their positions, as untrusted input has them.
///
/// In the order of a scan a folder's parent is the folder before it or lies above that one, so most parents
/// are found by comparing two neighbouring paths, without looking anything up.
class DirectoryPathReader {
public:
    explicit DirectoryPathReader(DirectoryTable& directories) : directories_(directories) {}

    /// Adds the next folder. False when its path is not the one way to write an absolute path (empty, "." or
    /// ".." components, a NUL, a slash at the end), was there before, or is one too many without a parent.
    bool add(std::string_view path);

private:
    std::optional<DirIndex> parentOf(std::string_view path, std::size_t parentBytes) const;
    bool addRoot(std::string_view path);

    DirectoryTable& directories_;
    std::string lastPath_;
    std::optional<DirIndex> last_;
};

}  // namespace dovra
