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

/// What tells of changes.
enum class WatchMechanism : std::uint8_t {
    best,     ///< for each file system the best of those below and of those that need privileges
    watches,  ///< one watch a folder
    polling,  ///< looking again and again
};

struct WatchOptions {
    std::string root;  ///< absolute; watched with all below it that the two rules let in
    WatchMechanism mechanism = WatchMechanism::best;

    /// How many folders may have a watch of their own, within the system's limit. The others are polled.
    std::size_t maxWatches = SIZE_MAX;

    /// Folders on other devices need not be watched; empty for all devices. Asked whenever the mounts
    /// changed, on any thread.
    std::function<std::vector<DeviceId>()> allowedDevices = [] { return std::vector<DeviceId>(); };
    /// Whether changes in the folder with this full path matter. Called on any thread.
    std::function<bool(std::string_view fullPath)> entersFolder = [](std::string_view) { return true; };
    /// Takes a message for the user, such as a limit of the system that was reached. Called on any thread.
    std::function<void(const std::string& message)> report = [](const std::string&) {};
    /// A request to stop has opening and draining end soon, now and from now on; what is told after that may
    /// not be complete.
    std::stop_token stop = {};
};

/// Where an event stream gets its changes from: the operating system, or a test. Open from its creation on.
/// Used by one thread, but for `wake` and `stop`, which any thread may call.
class EventSource : public ChangeFeed {
public:
    State state() const override { return State::open; }

    /// Returns when there is something to drain, after `wake`, or when the time is over.
    virtual void wait(std::chrono::milliseconds timeout) = 0;
    virtual void wake() = 0;

    /// Takes over what the system has queued, which is bounded; places are found when they are taken.
    virtual void drain() = 0;
    virtual bool hasChanges() const = 0;
};

/// The operating system's source for a tree. From its creation on no change is missed. Null when the root is
/// not a folder that can be opened, or the system refuses.
std::unique_ptr<EventSource> openEventSource(const WatchOptions& options);

}  // namespace dovra
