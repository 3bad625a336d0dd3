#pragma once

#include <cstdint>

#include "Platform/FolderStamp.hpp"

namespace dovra {

/// The wall clock, nanoseconds since 1970.
std::int64_t wallClockNow();

/// The stamp of a folder that was listed at `listedAt` (nanoseconds since 1970), or one that is not known
/// when it proves nothing. A change after the listing must give another stamp, and a time that is younger
/// than the coarsest step of a file system's clock at the listing could come again. So could one in the
/// future, once the clock gets there.
FolderStamp provenAt(const FolderStamp& stamp, std::int64_t listedAt);

/// Judges the stamps of one scan. Any thread.
class StampClock {
public:
    /// The scan begins.
    StampClock();

    /// The stamp of a folder that is about to be listed, or one that is not known when it proves nothing, as
    /// is the case since the wall clock was set: then it says nothing about the order of two changes.
    FolderStamp trusted(const FolderStamp& stamp) const;

    /// Both clocks at one moment, in nanoseconds.
    struct Reading {
        std::int64_t wall;
        std::int64_t steady;
    };
    static Reading read();

    /// Whether the wall clock was set between two readings: it went on by a second more or less than the
    /// steady clock. (What keeps it right goes in smaller steps.)
    static bool wasSet(const Reading& from, const Reading& to);

private:
    Reading start_;
};

}  // namespace dovra
