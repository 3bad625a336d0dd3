#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/ChangeFeed.hpp"
#include "Platform/Descriptor.hpp"
#include "Platform/Linux/FolderChanges.hpp"
#include "Platform/Linux/FolderTree.hpp"
#include "Platform/OpenFolder.hpp"

namespace dovra {

/// Changes below some folders, from one watch on each folder.
///
/// The kernel names a folder by the number of its watch, which stays the same when the folder is renamed, and
/// for ever is given to no other. So what is known is a tree of such numbers; a path is put together when it
/// is told. What the kernel reports is only taken as a hint where to look:
/// - a folder went from a name: it is detached. If it comes to no other name at once, its watches are
/// removed;
/// - a folder came to a name: that name is to be looked at again. When the queue is empty, the parent is
/// opened by its path and must prove to be the folder of its number (a second watch on a folder gives the
/// number of the first). Then what is at the name is opened relative to it, watched, and put there. A folder
/// that was not known is listed then: watch first, list afterwards, so nothing falls between;
/// - a parent that does not prove right has moved, and what tells so is on its way: all stays to be done.
///
/// Folders whose paths are too long to be told are opened one from another, going down and up the tree. What
/// happens to them is told as a subtree of the nearest folder above.
///
/// For one thread.
class InotifyWatch {
public:
    struct Rules {
        /// Whether the folder with this full path is to be watched; not asked for paths that are too long.
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

    /// Watches the folder and all below it, as far as it lies on the same mount. It is told as a subtree, now
    /// or as soon as it can be reached.
    void addTree(const std::string& path);

    void removeTree(const std::string& path);

    /// Looks again, with the next drain, at what is at a path below a watched folder.
    void lookAt(const std::string& path);

    /// Takes over what the kernel has queued, and watches what is new.
    void drain();

    /// Trees whose top cannot be reached by its path. No event tells that it can be reached again.
    const std::set<std::string>& missingTrees() const { return missing_; }

    bool hasChanges() const { return hasLost_ || !changed_.empty() || !returned_.empty(); }
    void take(ChangeSet& changes);

    std::size_t watchCount() const { return tree_.count(); }

    /// Folders for which there was no watch; what lies below them has none either.
    std::vector<std::string> unwatchedFolders() const;

    /// How many folders cannot be watched because this user may not read them.
    std::size_t forbiddenCount() const;

private:
    using WatchNumber = FolderTree::Number;
    static constexpr WatchNumber none = FolderTree::none;
    using Place = std::pair<WatchNumber, std::string>;

    enum class Obstacle : std::uint8_t {
        noWatch,    ///< the system grants none, or fails: to be polled
        forbidden,  ///< watched as soon as the right is there
    };

    /// Names in a folder that are to be looked at.
    struct Outstanding {
        bool all = false;       ///< those of all folders in it
        bool allBelow = false;  ///< and so on with what is in those
        std::set<std::string> names = {};
    };

    /// A folder whose child folders are being looked at.
    struct Level {
        WatchNumber number;
        std::optional<OpenFolder> folder;  ///< absent far above the deepest level: few are open at a time
        std::vector<std::string> names;    ///< still to be looked at
        std::size_t pathBytes;             ///< of its path
        bool tells;                        ///< whether what is new in it must be told
    };

    InotifyWatch(Descriptor queue, Rules rules) : queue_(std::move(queue)), rules_(std::move(rules)) {}

    void readQueue();
    void take(WatchNumber number, unsigned mask, std::string_view name);
    void restart();

    std::optional<OpenFolder> openPath(const std::string& path);
    void reachTop(const std::string& path);
    void reachTops();
    void processOutstanding();
    void raiseDeep();
    bool lookInto(WatchNumber folder, const Outstanding& outstanding);
    static Level levelOf(WatchNumber folder, const std::string& path, bool tells);
    void walk(Level top, std::string path, bool allBelow);
    std::optional<Level> visit(const Level& parent, const std::string& name, const std::string& path,
                               bool allBelow);
    void ascend(std::vector<Level>& levels);
    bool listInto(std::vector<std::string>& names, const OpenFolder& folder) const;
    std::optional<WatchNumber> watch(const OpenFolder& folder, const Place& place);
    WatchNumber numberOf(const OpenFolder& folder);

    void noteFailure(int error, const Place& place);
    void postpone(WatchNumber folder, const Outstanding& outstanding);
    void forget(WatchNumber folder);
    void erase(WatchNumber folder);

    Descriptor queue_;
    Rules rules_;
    std::map<std::string, WatchNumber> trees_;  ///< the tops that are to be watched
    std::set<std::string> missing_;             ///< those of which another folder, or none, is at the path
    FolderTree tree_;
    std::map<WatchNumber, Outstanding> outstanding_;
    std::map<Place, Obstacle> unwatched_;
    bool hasReportedLimit_ = false;

    std::unordered_map<WatchNumber, FolderChanges> changed_;
    std::vector<std::string> returned_;  ///< tops that are new, or came back
    bool hasMoved_ = false;              ///< a folder was put somewhere
    bool hasLost_ = false;
    bool mustRestart_ = false;
};

}  // namespace dovra
