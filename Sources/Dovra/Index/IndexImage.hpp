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

/// The outcome of an encoding. The bytes in the sink are an image only when it is whole.
enum class Encoded : std::uint8_t {
    whole,
    changed,    ///< the index changed meanwhile
    abandoned,  ///< the sink wanted no more
};

/// Hands the whole index to `sink`, piece by piece, in the format of the cache file. `volumeDev` is the
/// device of the volume that was scanned. `lastEventId` lies before all changes that the image lacks.
/// Searches and changes go on meanwhile: the read lock is held to copy one piece, well below a millisecond.
/// Entries below a folder whose path is longer than `maxSavedPathBytes` are left out.
[[nodiscard]] Encoded encodeIndexImage(const FileIndex& index, DeviceId volumeDev, std::uint64_t lastEventId,
                                       const IndexImageSink& sink);

/// The conditions under which an image is believed.
struct IndexImageSubject {
    DeviceId volumeDev = 0;
    /// The root of the scan; absent for any root.
    std::optional<std::string> root;
    std::int64_t now = wallClockNow();
};

/// The bytes of an image.
struct IndexImageSource {
    std::uint64_t size = 0;
    /// Fills the span with the bytes from `offset` on, which lie within the size; false when they cannot be
    /// read. Called from several threads at once.
    std::function<bool(std::uint64_t offset, std::span<char>)> read;

    /// Both refer to their argument, which must outlive them.
    static IndexImageSource fromBytes(std::string_view bytes);
    static IndexImageSource fromFile(const RegularFile& file);
};

struct LoadedIndexImage {
    std::uint64_t lastEventId;
    std::int64_t count;  ///< entries, tombstones included
};

/// Replaces the contents of the index by the image, and an attached trigram index by a new one of the image's
/// names. The write lock is held for a moment at the end, when everything has been read, checked and built.
/// Nothing else may change the index during the call. Absent, with the index unchanged, unless the image is
/// of that subject and every record in it is sound. Missing, damaged or future stamps are no fault: the
/// folders then have none. After a request to stop the result is absent soon.
[[nodiscard]] std::optional<LoadedIndexImage> loadIndexImage(FileIndex& index, const IndexImageSource& source,
                                                             const IndexImageSubject& subject,
                                                             const std::stop_token& stop = {});

}  // namespace dovra
