#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// The thumbnails that the desktop's programs share: PNG files, named by a digest of the file's URL, in a
/// folder for each size. Whoever reads one must compare the time in it with that of the file.
class ThumbnailCache {
public:
    /// `folder` is "thumbnails" in the user's cache folder.
    explicit ThumbnailCache(std::string folder) : folder_(std::move(folder)) {}

    /// That of the user: in `$XDG_CACHE_HOME`, or in "~/.cache" when that is not an absolute path.
    static ThumbnailCache ofUser();

    /// Where thumbnails of the file at that absolute path would be, the largest first.
    std::vector<std::string> placesOf(std::string_view path) const;

private:
    std::string folder_;  ///< empty without a home folder
};

}  // namespace dovra
