#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Preview/PreviewMessage.hpp"
#include "Preview/ThumbnailCache.hpp"

namespace dovra {

/// What can be shown of a file.
struct Preview {
    std::optional<PreviewPicture> picture = {};
    std::optional<std::string> text = {};  ///< well-formed UTF-8, of a longer file the first part
    std::vector<PreviewFact> facts = {};
    std::string reason = {};  ///< why there is no picture, for a file that should have one; empty otherwise
};

/// Makes previews of regular files. Text is read here. All else is decoded by a program of its own, which a
/// broken or hostile file may hang or crash: that costs no more than the picture.
class PreviewLoader {
public:
    /// `decoder` is the path of the program, and `patience` the time that it has for a file.
    PreviewLoader(std::string decoder, ThumbnailCache thumbnails,
                  std::chrono::milliseconds patience = std::chrono::milliseconds(400));

    /// The preview of the file at that absolute path, with a picture of at most `pixels` on each side (and at
    /// most `mostPreviewPixels`). With the usual patience it takes half a second at most, and little longer
    /// than a request to stop, after which the result is of no use. Only reading from a stuck disk takes
    /// longer, so this is called on a background queue. Any thread may.
    Preview load(const std::string& path, int pixels, const std::stop_token& stop) const;

private:
    std::string decoder_;
    ThumbnailCache thumbnails_;
    std::chrono::milliseconds patience_;
};

}  // namespace dovra
