#include "Desktop/Windows/PreviewContent.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Desktop/Model/PreviewLines.hpp"
#include "Platform/ModuleFile.hpp"
#include "Platform/Paths.hpp"
#include "Preview/TextHead.hpp"

namespace dovra {

namespace {

bool isOpaque(const QImage& picture) {
    for (int y = 0; y < picture.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        if (!std::all_of(line, line + picture.width(), [](QRgb pixel) { return qAlpha(pixel) == 255; }))
            return false;
    }
    return true;
}

/// The side to decode a picture for. Letters that are drawn a little too large and then made smaller are
/// blurred; drawn much too large they stay sharp.
int sideFor(QSize pixels) {
    constexpr int enough = 1024;
    const int longest = std::max(pixels.width(), pixels.height());
    return std::max(longest, std::min(2 * longest, enough));
}

/// The picture in its final size, so that drawing it costs the main thread nothing.
QImage fitted(const PreviewPicture& decoded, QSize pixels) {
    const QImage whole(reinterpret_cast<const uchar*>(decoded.pixels.data()), decoded.width, decoded.height,
                       QImage::Format_ARGB32_Premultiplied);
    const bool isSmall = whole.width() <= pixels.width() && whole.height() <= pixels.height();
    QImage picture =
        isSmall ? whole.copy() : whole.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (isOpaque(picture)) picture.reinterpretAsFormat(QImage::Format_RGB32);
    return picture;
}

void takeText(PreviewContent& content, std::string_view text, const FileRow& row) {
    PreviewLines lines = previewLines(text);
    if (lines.isCut)
        content.facts.push_back({"Shown", fmt::format("the first {} lines", grouped(PreviewLines::most))});
    else if (row.size > textHeadBytes && !row.isSymbolicLink)
        content.facts.push_back({"Shown", fmt::format("the first {} of {}", byteCountText(textHeadBytes),
                                                      byteCountText(row.size))});
    content.text = std::move(lines.text);
}

}  // namespace

PreviewContent PreviewContents::load(const FileRow& row, QSize pixels, const std::stop_token& stop) const {
    const std::string path = joinPath(row.path, row.name);
    if (row.isDir) return loadFolder(path);
    const auto target = row.isSymbolicLink ? realPath(path) : std::nullopt;
    if (target && index_->listedFolder(*target)) {
        PreviewContent content = loadFolder(*target);
        content.facts.insert(content.facts.begin(), {"Leads to", *target});
        return content;
    }
    Preview preview = loader_.load(path, sideFor(pixels), stop);
    PreviewContent content{.facts = std::move(preview.facts), .reason = std::move(preview.reason)};
    if (preview.text) takeText(content, *preview.text, row);
    if (preview.picture && !stop.stop_requested()) content.picture = fitted(*preview.picture, pixels);
    if (target) content.facts.insert(content.facts.begin(), {"Leads to", *target});
    return content;
}

PreviewContent PreviewContents::loadFolder(const std::string& path) const {
    PreviewContent content{.folder = folderPreview(*index_, usage_, path)};
    if (!content.folder) {
        content.reason = "the index does not know what is in this folder";
        return content;
    }
    const FolderSum& sum = content.folder->sum;
    content.facts = {
        {"Items", grouped(content.folder->count)},
        {"In all", fmt::format("{} in {}", byteCountText(sum.bytes), counted(sum.files, "file"))}};
    return content;
}

std::string previewDecoderPath() {
    return companionFile("dovra-preview", DOVRA_DECODER_FOLDER);
}

}  // namespace dovra
