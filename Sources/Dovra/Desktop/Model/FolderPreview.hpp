#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Analysis/FolderUsage.hpp"
#include "Index/FileIndex.hpp"
#include "Index/FileRow.hpp"

namespace dovra {

/// A file or folder in a folder that is previewed.
struct FolderPreviewItem {
    FileRow row;
    std::optional<std::uint64_t> bytes;  ///< of a folder with all in it; absent when it was never listed
};

/// What the index knows to be in a folder.
struct FolderPreview {
    static constexpr std::size_t mostItems = 500;

    std::vector<FolderPreviewItem> items;  ///< the first ones: folders before files, each by name
    std::int64_t count = 0;                ///< of all items
    FolderSum sum;                         ///< of all files in it, at any depth
};

/// The preview of the folder at that absolute path; absent when the index never listed it. A pass over all
/// entries after a change of the index, so not for the main thread; any other may call it.
std::optional<FolderPreview> folderPreview(const FileIndex& index, const FolderUsage& usage,
                                           const std::string& path);

}  // namespace dovra
