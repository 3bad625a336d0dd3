// As in Hashing.cpp: linked in alone, this function does not load the library.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "Preview/ThumbnailCache.hpp"

#include <array>
#include <cstdlib>
#include <fmt/format.h>
#include <openssl/md5.h>

#include "Base/UrlText.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

ThumbnailCache ThumbnailCache::ofUser() {
    const char* named = std::getenv("XDG_CACHE_HOME");
    if (named != nullptr && named[0] == '/') return ThumbnailCache(std::string(named) + "/thumbnails");
    const auto home = homeFolderPath();
    return ThumbnailCache(home ? *home + "/.cache/thumbnails" : std::string());
}

std::vector<std::string> ThumbnailCache::placesOf(std::string_view path) const {
    if (folder_.empty()) return {};
    // The programs that fill the cache escape these characters no more than our own pages escape letters.
    const std::string url = "file://" + percentEncoded(path, "!$&'()*+,:=@");
    std::array<unsigned char, MD5_DIGEST_LENGTH> digest{};
    (void)::MD5(reinterpret_cast<const unsigned char*>(url.data()), url.size(), digest.data());
    std::vector<std::string> places;
    for (const std::string_view size : {"xx-large", "x-large", "large", "normal"})
        places.push_back(fmt::format("{}/{}/{:02x}.png", folder_, size, fmt::join(digest, "")));
    return places;
}

}  // namespace dovra
