#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Platform/ChangeSet.hpp"
#include "Platform/Linux/Descriptor.hpp"

namespace dovra {

/// Changes below some folders, from one watch on each folder.
///
/// The kernel names a folder by the number of its watch, which stays the same when the folder is renamed, and
/// for ever is given to no other. So what is known are nodes with such numbers, each with its name and its
/// parent; a path is put together when it is told. What the kernel reports is only taken as a hint where to
/// look:
/// - a folder went from a name: its node is detached. If it comes to no other name, its watches are removed;
/// - a folder came to a name: that name is to be looked at again. When the queue is empty, the parent is
/// opened by its path and must prove to be the folder of its node (a second watch on a folder gives the
/// number of the first). Then what is at the name is opened relative to it, watched, and put there. A folder
/// that was not known is to be listed then: watch first, list afterwards, so nothing falls between;
/// - a parent that does not prove right has moved, and what tells so is on its way: all stays to be done.
///
/// For one thread.
class InotifyWatch {
public:
    struct Rules {
        /// Whether the folder with this full path is to be watched.
        std::function<bool(const std::string& path)> enters;
        /// Called once, when the system grants no more watches.
        std::function<void()> reportLimit;
        std::size_t maxWatches;
        /// After a request to stop, nothing more is looked at.
        std::stop_token stop;
    };

    /// Absent when the system grants no instance.
    static std::optional<InotifyWatch> open(Rules rules);

    int descriptor() const { return queue_.number(); }

    /// Watches the folder and all below it.
    void addTree(const std::string& path);

    void removeTree(const std::string& path);

    /// Looks again, with the next drain, at what is at a path below a watched folder.
    void lookAt(const std::string& path);

    /// Takes over what the kernel has queued, and watches what is new.
    void drain();

    /// A tree whose top is gone, which must be looked for.
    bool misses() const { return roots_.size() < trees_.size(); }

    bool hasChanges() const { return hasLost_ || !dirty_.empty() || !arrivals_.empty() || !tops_.empty(); }
    void take(ChangeSet& changes);

    std::size_t watchCount() const { return nodes_.size(); }
    /// Folders for which there was no watch; what lies below them has none either.
    std::vector<std::string> unwatchedFolders() const;

private:
    using WatchNumber = int;
    static constexpr WatchNumber none = -1;
    using Place = std::pair<WatchNumber, std::string>;

    struct Node {
        WatchNumber parent = none;  ///< none for the top of a tree and for what is detached
        std::string name;           ///< for the top of a tree its path
        std::map<std::string, WatchNumber, std::less<>> children;
    };

    /// Names in a folder that are to be looked at.
    struct Outstanding {
        bool all = false;
        std::set<std::string> names;
    };

    InotifyWatch(Descriptor queue, Rules rules) : queue_(std::move(queue)), rules_(std::move(rules)) {}

    void readQueue();
    void take(WatchNumber number, unsigned mask, std::string_view name);
    void restart();

    bool openTop(const std::string& path);
    void workOff();
    bool lookInto(WatchNumber folder, Outstanding& outstanding);
    bool listInto(Outstanding& outstanding, int folderDescriptor) const;
    bool watchChild(WatchNumber parent, int parentDescriptor, const std::string& parentPath,
                    const std::string& name);
    std::optional<WatchNumber> watch(int folderDescriptor, const Place& place);

    void noteFailure(int error, const Place& place);

    bool isBelow(WatchNumber folder, WatchNumber above) const;
    void put(WatchNumber folder, WatchNumber parent, const std::string& name);
    void detach(WatchNumber folder);
    void detachAt(WatchNumber parent, const std::string& name);
    void forget(std::vector<WatchNumber> folders);
    void erase(WatchNumber folder);

    /// Absent when the folder or one above it is detached.
    std::optional<std::string> pathOf(WatchNumber folder) const;

    Descriptor queue_;
    Rules rules_;
    std::vector<std::string> trees_;            ///< the tops that are to be watched
    std::map<WatchNumber, std::string> roots_;  ///< those that are
    std::unordered_map<WatchNumber, Node> nodes_;
    std::map<WatchNumber, Outstanding> outstanding_;
    std::set<WatchNumber> detached_;  ///< in this drain
    std::set<WatchNumber> detachedBefore_;
    std::unordered_set<WatchNumber> fresh_;  ///< watched since the last drain began
    std::set<Place> unwatched_;
    bool hasReportedLimit_ = false;

    std::unordered_set<WatchNumber> dirty_;  ///< folders in which something changed
    std::set<Place> arrivals_;               ///< folders that came to a name
    std::vector<std::string> tops_;          ///< tops that came back
    bool hasLost_ = false;
    bool mustRestart_ = false;
};

}  // namespace dovra
