#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ChangeFeed.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

/// The way in which changes are noticed.
enum class WatchMechanism : std::uint8_t {
    best,     ///< the best for each file system: one that needs privileges, or one of those below
    watches,  ///< one watch a folder
    polling,  ///< listing again and again
};

struct WatchOptions {
    std::string root;  ///< absolute; watched with all folders below it that the two rules admit
    WatchMechanism mechanism = WatchMechanism::best;

    /// The number of folders with a watch of their own, within the system's limit. The others are polled.
    std::size_t maxWatches = SIZE_MAX;

    /// Only folders on these devices need watching; empty for all devices. Called after each change of the
    /// mounts, on any thread.
    std::function<std::vector<DeviceId>()> allowedDevices = [] { return std::vector<DeviceId>(); };
    /// Whether changes in the folder with this full path matter. Called on any thread.
    std::function<bool(std::string_view fullPath)> entersFolder = [](std::string_view) { return true; };
    /// Takes a message for the user, such as a limit of the system that was reached. Called on any thread.
    std::function<void(const std::string& message)> report = [](const std::string&) {};
    /// A request to stop ends opening and draining soon, also later calls. Later batches may be incomplete.
    std::stop_token stop = {};
};

/// The source of an event stream's changes: the operating system, or a test. Open from its creation on. For
/// one thread, except that any thread may call `wake`.
class EventSource : public ChangeFeed {
public:
    State state() const override { return State::open; }

    /// Returns when the system has queued events, after `wake`, or when the time is over.
    virtual void wait(std::chrono::milliseconds timeout) = 0;
    virtual void wake() = 0;

    /// Takes over the system's queued events, a bounded number. Their paths are resolved in `take`.
    virtual void drain() = 0;
    virtual bool hasChanges() const = 0;
};

/// The operating system's source for a tree. From its creation on no change is missed. Null when the root is
/// no folder or cannot be opened.
std::unique_ptr<EventSource> openEventSource(const WatchOptions& options);

}  // namespace dovra
