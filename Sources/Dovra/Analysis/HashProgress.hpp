#pragma once

#include <atomic>
#include <cstdint>

namespace dovra {

/// How far a search for equal files has come. The hashing threads write it, any thread may read it; each
/// number on its own is right, together they are about right.
struct HashProgress {
    std::atomic<std::uint64_t> filesToHash{0};
    std::atomic<std::uint64_t> filesDone{0};
    /// At most: what need not be read any more is taken off when that is known.
    std::atomic<std::uint64_t> bytesToHash{0};
    std::atomic<std::uint64_t> bytesDone{0};
    /// Candidates that turned out to be another name of a file that was there already.
    std::atomic<std::uint64_t> furtherNames{0};
};

}  // namespace dovra
