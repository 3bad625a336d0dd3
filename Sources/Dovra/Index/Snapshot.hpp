#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Index/SnapshotSource.hpp"
#include "Index/StampClock.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

/// Takes a snapshot's next bytes, maybe none; false when no more are wanted. Called without the index's lock.
using SnapshotSink = std::function<bool(std::string_view)>;

/// How an encoding ended. What the sink got is a snapshot only when it is whole.
enum class Encoded : std::uint8_t {
    whole,
    changed,    ///< the index changed meanwhile
    abandoned,  ///< the sink wanted no more
};

/// Hands the whole index to `sink`, piece by piece, in the format of the cache file. `volumeDev` is the
/// device of the volume that was scanned, `lastEventId` what the changes after this snapshot come after.
/// Searches and changes go on meanwhile: the index's read lock is held for the copying of a piece, well below
/// a millisecond. What lies below a folder whose path is longer than `maxSavedPathBytes` is left out.
[[nodiscard]] Encoded encodeSnapshot(const FileIndex& index, DeviceId volumeDev, std::uint64_t lastEventId,
                                     const SnapshotSink& sink);

/// What a snapshot must be of to be believed.
struct SnapshotSubject {
    DeviceId volumeDev = 0;
    /// Where the scan began; when absent any root will do.
    std::optional<std::string> root;
    std::int64_t now = wallClockNow();
};

struct LoadedSnapshot {
    std::uint64_t lastEventId;
    std::int64_t count;  ///< entries, tombstones included
};

/// Replaces the contents of the index by the snapshot; where a trigram index is attached, by a new one of the
/// snapshot's names. The write lock is taken at the end, for a moment, when everything has been read, checked
/// and built; nothing else may change the index during the call. Absent, with the index as it was, unless the
/// snapshot is of that subject and every record in it is sound. Stamps that are missing, damaged or from the
/// future are no fault: the folders then have none. A request to stop makes it absent soon.
[[nodiscard]] std::optional<LoadedSnapshot> loadSnapshot(FileIndex& index, const SnapshotSource& source,
                                                         const SnapshotSubject& subject,
                                                         const std::stop_token& stop = {});

}  // namespace dovra
