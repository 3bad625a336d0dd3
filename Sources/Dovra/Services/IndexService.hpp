#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "Index/FileIndex.hpp"
#include "Services/ComparisonRounds.hpp"

namespace dovra {

/// How far an index is, for a status line.
struct IndexStatus {
    bool isReady = false;       ///< it holds all there is below the root, or will after a flush
    bool isCompared = false;    ///< also what was changed in place before the start
    std::string coverage = {};  ///< how changes are noticed and which are not, in a few words
    std::optional<RoundOutcome> lastRound = {};
};

/// Brings an index up and keeps it current: what a server that lives on knows of where its index comes from.
/// The object owns the index. Destroying it ends its work without waiting for a scan to finish.
class IndexService {
public:
    virtual ~IndexService() = default;

    /// Begins to bring the index up and returns at once. Called once. `onReady` is called on a thread of the
    /// service as soon as the index is whole, and not at all when the service is destroyed before.
    virtual void start(std::function<void()> onReady) = 0;

    /// Waits, no longer than that, until the index holds all there is below the root; whether it does.
    virtual bool waitUntilReady(std::chrono::milliseconds deadline) = 0;

    /// Brings all changes into the index that were made before this call; false when that was not done within
    /// the deadline. To be called when the index is whole.
    virtual bool flush(std::chrono::milliseconds deadline) = 0;

    /// May be searched at any time, and holds what has been found so far.
    virtual const FileIndex& index() const = 0;

    virtual IndexStatus status() const = 0;

    /// The folder whose tree the index holds.
    virtual const std::string& root() const = 0;
};

}  // namespace dovra
