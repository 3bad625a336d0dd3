#pragma once

#include <QImage>
#include <QSize>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Analysis/FolderUsage.hpp"
#include "Desktop/Model/FolderPreview.hpp"
#include "Preview/PreviewLoader.hpp"

namespace dovra {

/// What the preview window shows of a file or folder: a picture, a text, a list, or why there is none of
/// these.
struct PreviewContent {
    QImage picture = {};
    std::optional<std::string> text = {};
    std::optional<FolderPreview> folder = {};
    std::vector<PreviewFact> facts = {};
    std::string reason = {};
};

/// Makes the contents of previews: of folders from the index, of files from the disk. Any thread may call it,
/// but for the main one, which it would hold up.
class PreviewContents {
public:
    PreviewContents(std::shared_ptr<const FileIndex> index, PreviewLoader loader)
        : index_(std::move(index)), usage_(*index_), loader_(std::move(loader)) {}

    /// A picture is made to fit into so many pixels. The result is of no use after a request to stop.
    PreviewContent load(const FileRow& row, QSize pixels, const std::stop_token& stop) const;

private:
    PreviewContent loadFolder(const std::string& path) const;

    const std::shared_ptr<const FileIndex> index_;
    const FolderUsage usage_;
    const PreviewLoader loader_;
};

/// The path of the program that decodes previews: beside the running program, or where an installation puts
/// it.
std::string previewDecoderPath();

}  // namespace dovra
