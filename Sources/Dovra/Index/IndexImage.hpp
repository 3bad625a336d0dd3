#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>

#include "Index/Clocks.hpp"
#include "Index/FileIndex.hpp"
#include "Platform/OpenFolder.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

/// Takes an image's next bytes, maybe none; false when no more are wanted. Called without the index's lock.
using IndexImageSink = std::function<bool(std::string_view)>;

/// How an encoding ended. What the sink got is an image only when it is whole.
enum class Encoded : std::uint8_t {
    whole,
    changed,    ///< the index changed meanwhile
    abandoned,  ///< the sink wanted no more
};

/// Hands the whole index to `sink`, piece by piece, in the format of the cache file. `volumeDev` is the
/// device of the volume that was scanned, `lastEventId` what the changes after this image come after.
/// Searches and changes go on meanwhile: the index's read lock is held for the copying of a piece, well below
/// a millisecond. What lies below a folder whose path is longer than `maxSavedPathBytes` is left out.
[[nodiscard]] Encoded encodeIndexImage(const FileIndex& index, DeviceId volumeDev, std::uint64_t lastEventId,
                                       const IndexImageSink& sink);

/// What an image must be of to be believed.
struct IndexImageSubject {
    DeviceId volumeDev = 0;
    /// Where the scan began; when absent any root will do.
    std::optional<std::string> root;
    std::int64_t now = wallClockNow();
};

/// Where an image is read from.
struct IndexImageSource {
    std::uint64_t size = 0;
    /// Fills the span with the bytes from `offset` on, which lie within the size; false when they cannot be
    /// read. Called from several threads at once.
    std::function<bool(std::uint64_t offset, std::span<char>)> read;

    /// Both refer to what they are made from.
    static IndexImageSource fromBytes(std::string_view bytes);
    static IndexImageSource fromFile(const RegularFile& file);
};

struct LoadedIndexImage {
    std::uint64_t lastEventId;
    std::int64_t count;  ///< entries, tombstones included
};

/// Replaces the contents of the index by the image; where a trigram index is attached, by a new one of the
/// image's names. The write lock is taken at the end, for a moment, when everything has been read, checked
/// and built; nothing else may change the index during the call. Absent, with the index as it was, unless the
/// image is of that subject and every record in it is sound. Stamps that are missing, damaged or from the
/// future are no fault: the folders then have none. A request to stop makes it absent soon.
[[nodiscard]] std::optional<LoadedIndexImage> loadIndexImage(FileIndex& index, const IndexImageSource& source,
                                                             const IndexImageSubject& subject,
                                                             const std::stop_token& stop = {});

}  // namespace dovra
