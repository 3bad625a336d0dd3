#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Index/IndexImage.hpp"

namespace dovra::test {

/// The subject of an image in tests, unless they give another.
inline const IndexImageSubject anySubject{.volumeDev = 7, .root = {}, .now = 2'000'000'000};

/// The cache file of an index, as bytes.
inline std::string imageOf(const FileIndex& index) {
    std::string bytes;
    const Encoded encoded =
        encodeIndexImage(index, anySubject.volumeDev, 1'000'000'000, [&](std::string_view piece) {
            bytes += piece;
            return true;
        });
    if (encoded != Encoded::whole) throw std::runtime_error("the index could not be encoded");
    return bytes;
}

/// Loads from a copy of exactly its size, so that a sanitizer sees a read past the end.
inline std::optional<LoadedIndexImage> loadBytes(FileIndex& index, std::string_view bytes,
                                                 const IndexImageSubject& subject = anySubject) {
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return loadIndexImage(index, IndexImageSource::fromBytes({exact.data(), exact.size()}), subject);
}

inline FolderStamp stampOf(const FileIndex& index, DirIndex folder) {
    const ReadGuard guard(index.rwlock);
    return index.stampLocked(folder);
}

}  // namespace dovra::test
