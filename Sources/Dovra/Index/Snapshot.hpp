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
#include "Platform/DirectoryListing.hpp"

namespace dovra {

/// Takes a snapshot's next bytes.
using SnapshotSink = std::function<void(std::string_view)>;

/// Hands the whole index to `sink`, piece by piece, in the format of the cache file. `volumeDev` is the
/// device of the volume that was scanned, `lastEventId` what the changes after this snapshot come after.
/// Holds the index's read lock meanwhile: searches go on, changes wait. Returns why the format cannot hold
/// this index, in which case the sink got nothing.
[[nodiscard]] std::optional<std::string> encodeSnapshot(const FileIndex& index, DeviceId volumeDev,
                                                        std::uint64_t lastEventId, const SnapshotSink& sink);

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

/// Replaces the contents of the index by the snapshot, and fills an attached trigram index anew. The write
/// lock is taken at the end, when everything has been read, checked and built. Absent, with the index as it
/// was, unless the snapshot is of that subject and every record in it is sound. Stamps that are missing,
/// damaged or from the future are no fault: the folders then have none. A request to stop makes it absent
/// soon.
[[nodiscard]] std::optional<LoadedSnapshot> loadSnapshot(FileIndex& index, const SnapshotSource& source,
                                                         const SnapshotSubject& subject,
                                                         const std::stop_token& stop = {});

}  // namespace dovra
