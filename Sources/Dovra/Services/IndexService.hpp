#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "Index/FileIndex.hpp"
#include "Services/ComparisonRounds.hpp"

namespace dovra {

/// The state of an index, for a status line.
struct IndexStatus {
    bool isReady = false;       ///< the index holds all entries below the root, at the latest after a flush
    bool isCompared = false;    ///< the index also has the changes made in place before the start
    std::string coverage = {};  ///< the mechanism of watching and its gaps, in a few words
    std::optional<RoundOutcome> lastRound = {};
};

/// The source of a server's index: brings it up and keeps it current. The object owns the index. Destroying
/// it ends its work without waiting for a scan to finish.
class IndexService {
public:
    virtual ~IndexService() = default;

    /// Begins to bring the index up and returns at once. Called once. `onReady` is called on a thread of the
    /// service as soon as the index is ready, and never if the service is destroyed before.
    virtual void start(std::function<void()> onReady) = 0;

    /// Waits until the index is ready, at most for `deadline`. Returns whether it is.
    virtual bool waitUntilReady(std::chrono::milliseconds deadline) = 0;

    /// Brings all changes into the index that were made before this call. False when that was not done within
    /// the deadline. To be called when the index is ready.
    virtual bool flush(std::chrono::milliseconds deadline) = 0;

    /// The index. It may be searched at any time, and holds the entries found so far.
    virtual const FileIndex& index() const = 0;

    virtual IndexStatus status() const = 0;

    /// The folder whose tree the index holds.
    virtual const std::string& root() const = 0;
};

}  // namespace dovra
