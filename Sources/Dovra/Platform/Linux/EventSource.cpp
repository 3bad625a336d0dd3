#include "Platform/EventSource.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <poll.h>
#include <set>
#include <sys/eventfd.h>
#include <unistd.h>

#include "Base/PathText.hpp"
#include "Platform/Linux/FanotifyWatch.hpp"
#include "Platform/Linux/InotifyWatch.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

namespace {

/// File systems that other machines change too, without an event here.
constexpr std::string_view sharedFileSystems[] = {"9p",    "afs", "ceph", "cifs", "fuse.sshfs",
                                                  "ncpfs", "nfs", "nfs4", "smb3", "smbfs"};

constexpr std::string_view limitMessage =
    "The system grants no more watches. Folders beyond the limit are looked at every few seconds instead; to "
    "have their changes told at once, raise fs.inotify.max_user_watches with sysctl.";

constexpr std::string_view noInotifyMessage =
    "The system gives this user no more means to watch folders. They are looked at every few seconds "
    "instead; "
    "to have their changes told at once, end other programs that watch files, or raise "
    "fs.inotify.max_user_instances with sysctl.";

std::string described(std::size_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

bool isShared(const Mount& mount) {
    return std::ranges::find(sharedFileSystems, mount.type) != std::end(sharedFileSystems);
}

bool canBeOpened(const std::string& place) {
    return OpenFolder::open(place).has_value();
}

bool isIn(const std::vector<Mount>& mounts, const Mount& mount) {
    return std::ranges::find(mounts, mount) != mounts.end();
}

/// Shares the mounts below the root out among the three mechanisms, and gathers their changes. All paths are
/// without links; only paths handed to the caller begin with the root as it was given.
class LinuxEventSource : public EventSource {
public:
    LinuxEventSource(const WatchOptions& options, std::string root)
        : options_(options), root_(std::move(root)), wake_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (options.mechanism == WatchMechanism::best) fanotify_ = FanotifyWatch::open(root_);
        if (options.mechanism != WatchMechanism::polling) openInotify();
        updateMounts();
        if (inotify_) inotify_->take(changes_);
        changes_.take();
    }

    void wait(std::chrono::milliseconds timeout) override {
        std::array<pollfd, 4> sources = {{{wake_.number(), POLLIN, 0},
                                          {mountWatch_.descriptor(), POLLPRI, 0},
                                          {fanotify_ ? fanotify_->descriptor() : -1, POLLIN, 0},
                                          {inotify_ ? inotify_->descriptor() : -1, POLLIN, 0}}};
        const std::chrono::milliseconds lookingForTop{1000};
        if (inotify_ && !inotify_->missingTrees().empty()) timeout = std::min(timeout, lookingForTop);
        ::poll(sources.data(), sources.size(), static_cast<int>(timeout.count()));
        std::uint64_t wakes = 0;
        (void)!::read(wake_.number(), &wakes, sizeof wakes);
        mustReadMounts_ = mustReadMounts_ || sources[1].revents != 0;
    }

    void wake() override {
        const std::uint64_t once = 1;
        (void)!::write(wake_.number(), &once, sizeof once);
    }

    void drain() override {
        if (mountWatch_.hasChanged() || mustReadMounts_) updateMounts();
        if (std::ranges::any_of(unreachableMounts_, canBeOpened)) coverAgain();
        if (fanotify_) fanotify_->drain();
        if (inotify_) inotify_->drain();
    }

    bool hasChanges() const override {
        return !changes_.empty() || (fanotify_ && fanotify_->hasChanges()) ||
               (inotify_ && inotify_->hasChanges());
    }

    std::optional<ChangeBatch> take(std::chrono::milliseconds /*patience*/) override {
        mustReadMounts_ |= mountWatch_.readsOtherwise();
        drain();
        if (fanotify_) fanotify_->take(fanotifyMounts_, changes_);
        if (inotify_) inotify_->take(changes_);
        ChangeBatch found = changes_.take();
        ChangeBatch batch{.mustRescan = found.mustRescan};
        for (const std::string& path : found.paths)
            keepIfServed(path, batch.paths);
        for (const std::string& path : found.files)
            keepIfServed(path, batch.files);
        for (const std::string& path : found.subtrees)
            keepIfServed(isAtOrBelow(root_, path) ? root_ : path, batch.subtrees);
        return batch;
    }

    std::vector<std::string> polledTrees() const override {
        std::vector<std::string> trees;
        for (const std::string& path : allPolledTrees())
            keepIfServed(path, trees);
        return trees;
    }

    std::string coverage() const override {
        std::string text;
        const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
        if (!fanotifyMounts_.empty())
            add(described(fanotifyMounts_.size(), "whole file system") + " (fanotify)");
        if (inotify_ && inotify_->watchCount() > 0)
            add(described(inotify_->watchCount(), "folder") + " (inotify)");
        if (const std::size_t polled = allPolledTrees().size(); polled > 0)
            add(described(polled, "tree") + " (polling)");
        if (const std::size_t forbidden = inotify_ ? inotify_->forbiddenCount() : 0; forbidden > 0)
            add(described(forbidden, "folder") + " not watched");
        for (const std::string& place : unreachableMounts_)
            add("not watched: " + place);
        for (const std::string& place : inotify_ ? inotify_->missingTrees() : std::set<std::string>())
            add("not watched: " + place);
        return text;
    }

private:
    void openInotify() {
        inotify_ = InotifyWatch::open({.enters = options_.entersFolder,
                                       .reportLimit = [this] { options_.report(std::string(limitMessage)); },
                                       .maxWatches = options_.maxWatches,
                                       .stop = options_.stop});
    }

    /// Adds a path at or below the root, written with the root as it was given; drops any other.
    void keepIfServed(const std::string& path, std::vector<std::string>& to) const {
        if (!isAtOrBelow(path, root_)) return;
        const std::string_view below = std::string_view(path).substr(root_ == "/" ? 0 : root_.size());
        std::string written = options_.root == "/" ? "" : options_.root;
        written.append(below == "/" ? "" : below);
        to.push_back(written.empty() ? "/" : written);
    }

    /// Whether a scan would reach the place of the mount and enter the mount; `allowed` as in the options.
    bool isEntered(const Mount& mount, const std::vector<DeviceId>& allowed) const {
        if (mount.place == root_) return true;
        if (mount.type == "autofs") return false;
        for (std::size_t end = mount.place.find('/', root_ == "/" ? 1 : root_.size() + 1);;) {
            if (!options_.entersFolder(mount.place.substr(0, end))) return false;
            if (end == std::string::npos) break;
            end = mount.place.find('/', end + 1);
        }
        return allowed.empty() || std::ranges::find(allowed, mount.device) != allowed.end();
    }

    /// The mount that holds the root, with the root as its place, and the visible mounts below the root.
    /// Empty when the table cannot be read.
    std::vector<Mount> servedMounts() const {
        const std::vector<Mount> table = readMounts();
        auto holder = mountHolding(root_, table);
        // A missing root is expected back on its former mount.
        if (!holder && !mounts_.empty()) holder = mounts_.front();
        if (table.empty() || !holder) return {};
        std::vector<Mount> mounts = {*std::move(holder)};
        for (const Mount& mount : table) {
            if (mount.place != root_ && isAtOrBelow(mount.place, root_) && isVisible(mount, table))
                mounts.push_back(mount);
        }
        for (Mount& mount : mounts) {
            // Polled mounts need no number, and a server that does not answer would keep us waiting.
            if (!isShared(mount)) mount.instance = mountInstance(mount.place);
        }
        return mounts;
    }

    /// Mounts with another file system by now, although they may look the same.
    std::vector<Mount> lostMounts() {
        std::vector<Mount> lost;
        std::ranges::copy_if(fanotifyMounts_, std::back_inserter(lost),
                             [&](const Mount& mount) { return fanotify_->hasLost(mount); });
        return lost;
    }

    /// Follows mounts that came and went, and reports their places as subtrees.
    void updateMounts() {
        std::vector<Mount> mounts = servedMounts();
        // A missing root may come back on another mount.
        mustReadMounts_ = mounts.empty() || !canBeOpened(root_);
        if (mounts.empty()) return;
        const std::vector<Mount> lost = lostMounts();
        if (mounts == mounts_ && lost.empty()) return;
        std::vector<std::string> uncovered;
        for (const Mount& mount : mounts_) {
            if (isIn(mounts, mount)) continue;
            changes_.addSubtree(mount.place);
            uncovered.push_back(mount.place);
        }
        for (const Mount& mount : mounts) {
            if (!isIn(mounts_, mount) || isIn(lost, mount)) changes_.addSubtree(mount.place);
        }
        mounts_ = std::move(mounts);
        coverAll();
        for (const std::string& place : uncovered) {
            if (inotify_) inotify_->lookAt(place);
        }
    }

    /// Called when a mount that could not be opened can be opened now.
    void coverAgain() {
        for (const std::string& place : unreachableMounts_)
            changes_.addSubtree(place);
        coverAll();
    }

    void coverAll() {
        const std::vector<DeviceId> allowed = options_.allowedDevices();
        std::set<DeviceId> watchedDevices;
        std::vector<Mount> viaInotify;
        fanotifyMounts_.clear();
        polledMounts_.clear();
        unreachableMounts_.clear();
        for (const Mount& mount : mounts_) {
            if (!isEntered(mount, allowed)) continue;
            if (isShared(mount)) {
                polledMounts_.push_back(mount.place);
                continue;
            }
            const auto folder = OpenFolder::open(mount.place);
            if (!folder && errno == ENOTDIR) {
                // A file is mounted here. Its changes have no event for this path.
                polledMounts_.push_back(mount.place);
            } else if (!folder) {
                unreachableMounts_.push_back(mount.place);
            } else if (mount.place != root_ && folder->isOnKernelFileSystem()) {
                continue;
            } else if (fanotify_ && fanotify_->addMount(mount)) {
                fanotifyMounts_.push_back(mount);
            } else if (inotify_ && watchedDevices.insert(folder->device()).second) {
                // The folder's own device counts, not the table's: parts of a file system can have others.
                viaInotify.push_back(mount);
            } else {
                // This is also the case of a second mount of one file system: a watch cannot tell the two
                // paths of a folder apart.
                reportThatInotifyIsMissing();
                polledMounts_.push_back(mount.place);
            }
        }
        if (inotify_) coverByInotify(viaInotify);
    }

    void reportThatInotifyIsMissing() {
        const bool isWanted = !inotify_ && options_.mechanism != WatchMechanism::polling;
        if (isWanted && !std::exchange(hasReportedInotify_, true))
            options_.report(std::string(noInotifyMessage));
    }

    void coverByInotify(const std::vector<Mount>& mounts) {
        for (const Mount& mount : inotifyMounts_) {
            if (!isIn(mounts, mount)) inotify_->removeTree(mount.place);
        }
        for (const Mount& mount : mounts) {
            if (!isIn(inotifyMounts_, mount)) inotify_->addTree(mount.place);
        }
        inotifyMounts_ = mounts;
    }

    std::vector<std::string> allPolledTrees() const {
        // Without the table of mounts everything is polled.
        if (mounts_.empty()) return {root_};
        std::vector<std::string> trees = polledMounts_;
        if (inotify_) {
            const std::vector<std::string> unwatched = inotify_->unwatchedFolders();
            trees.insert(trees.end(), unwatched.begin(), unwatched.end());
        }
        return trees;
    }

    const WatchOptions options_;
    const std::string root_;
    Descriptor wake_;
    MountWatch mountWatch_;
    bool mustReadMounts_ = false;
    bool hasReportedInotify_ = false;
    std::optional<FanotifyWatch> fanotify_;
    std::optional<InotifyWatch> inotify_;

    std::vector<Mount> mounts_;
    std::vector<Mount> fanotifyMounts_;
    std::vector<Mount> inotifyMounts_;
    std::vector<std::string> polledMounts_;
    std::vector<std::string> unreachableMounts_;
    ChangeSet changes_;
};

}  // namespace

std::unique_ptr<EventSource> openEventSource(const WatchOptions& options) {
    auto root = realPath(options.root);
    if (!root || !OpenFolder::open(*root)) return nullptr;
    return std::make_unique<LinuxEventSource>(options, *std::move(root));
}

}  // namespace dovra
