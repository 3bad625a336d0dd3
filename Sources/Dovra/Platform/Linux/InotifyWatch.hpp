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
/// The kernel names a folder by the number of its watch. The folder keeps the number when it is renamed, and
/// no other folder ever gets it. So the known folders are a tree of such numbers, and a path is built when it
/// is reported. Events are only hints where to look:
/// - A folder left a name: it is detached. If it comes to no other name at once, its watches are removed.
/// - A folder came to a name: the name is outstanding. When the queue is empty, the parent is opened by its
///   path and must prove to be the folder of its number (a second watch on a folder gives the number of the
///   first). The folder at the name is then opened relative to the parent, watched, and put there. A new
///   folder is watched first and listed afterwards, so nothing falls between.
/// - A parent does not prove right: it has moved, and its own event is on the way. The name stays
/// outstanding.
///
/// Folders with paths too long to be reported are opened one from another, going down and up the tree. Their
/// changes are reported as a subtree of the nearest folder above.
///
/// For one thread.
class InotifyWatch {
public:
    struct Rules {
        /// Whether to watch the folder with this full path; not called for paths that are too long.
        std::function<bool(const std::string& path)> enters;
        /// Called once, when the system grants no more watches.
        std::function<void()> reportLimit;
        std::size_t maxWatches;
        /// A request to stop ends all looking at folders.
        std::stop_token stop;
    };

    /// Absent when the system grants no instance.
    static std::optional<InotifyWatch> open(Rules rules);

    int descriptor() const { return queue_.number(); }

    /// Watches the folder and all below it on the same mount. It is reported as a subtree, now or as soon as
    /// it can be reached.
    void addTree(const std::string& path);

    void removeTree(const std::string& path);

    /// Lets the next drain look again at a path below a watched folder.
    void lookAt(const std::string& path);

    /// Takes over the kernel's queued events, and watches new folders.
    void drain();

    /// Trees whose top cannot be reached by its path. Its return has no event.
    const std::set<std::string>& missingTrees() const { return missing_; }

    bool hasChanges() const { return hasLost_ || !changed_.empty() || !returned_.empty(); }
    void take(ChangeSet& changes);

    std::size_t watchCount() const { return tree_.count(); }

    /// Folders that got no watch; the folders below them have none either.
    std::vector<std::string> unwatchedFolders() const;

    /// The number of folders without a watch because this user may not read them.
    std::size_t forbiddenCount() const;

private:
    using WatchNumber = FolderTree::Number;
    static constexpr WatchNumber none = FolderTree::none;
    using Place = std::pair<WatchNumber, std::string>;

    enum class Obstacle : std::uint8_t {
        noWatch,    ///< the system grants none, or fails: the folder is polled
        forbidden,  ///< watched as soon as this user may read it
    };

    /// The names in a folder that are still to be looked at.
    struct Outstanding {
        bool all = false;       ///< the names of all folders in it
        bool allBelow = false;  ///< the names of all folders below it, at any depth
        std::set<std::string> names = {};
    };

    /// A folder whose child folders are being looked at.
    struct Level {
        WatchNumber number;
        std::optional<OpenFolder> folder;  ///< absent far above the deepest level: few are open at a time
        std::vector<std::string> names;    ///< still to be looked at
        std::size_t pathBytes;             ///< the length of its path
        bool tells;                        ///< whether new folders in it must be reported
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
    std::map<std::string, WatchNumber> trees_;  ///< the tops to watch
    std::set<std::string> missing_;             ///< tops that could not be opened and watched
    FolderTree tree_;
    std::map<WatchNumber, Outstanding> outstanding_;
    std::map<Place, Obstacle> unwatched_;
    bool hasReportedLimit_ = false;

    std::unordered_map<WatchNumber, FolderChanges> changed_;
    std::vector<std::string> returned_;  ///< tops that are new, or came back
    bool hasMoved_ = false;              ///< a folder was put to a new place
    bool hasLost_ = false;
    bool mustRestart_ = false;
};

}  // namespace dovra
