#include "Index/LookAheadWalk.hpp"

#include <algorithm>
#include <list>
#include <memory>
#include <ranges>
#include <stop_token>
#include <thread>

#include "Base/Locks.hpp"
#include "Base/PathText.hpp"
#include "Index/Clocks.hpp"

// A walk is bound by the kernel's work for each folder, which processors can share; but identifiers that
// depend on which thread was faster could not be compared from one scan to the next.
//
// The idea: the order of the walk is a property of the tree alone. All folders that are known and not yet
// finished stand in one list, the frontier, in the order in which the walk will reach them. A helper takes
// the first that nobody is listing; when it is done, the folder's children take its place. So helpers always
// work as close ahead of the walk as they can, and the walk, which takes finished folders strictly in its own
// order, visits the same sequence for any number of threads. When the walk's next folder is not finished, the
// walk lists it itself or, while a helper is at it, lists the first folder of the frontier.
//
// The cost: two short critical sections a folder, and the folders that are finished ahead of the walk: the
// memory of their listings is bounded, and so is the number of those that stay open for what lies below. It
// ends because each folder is taken once and links are not followed.

namespace dovra {

namespace {

/// A path of this length or longer is not extended: what lies below is opened relative to the folder itself,
/// so that no path outgrows what the system takes in one call (a name adds at most 256 bytes).
constexpr std::size_t longPathBytes = WalkOptions::maxAskedPathBytes;

/// Helpers pause while finished listings that the walk has not reached yet take more memory than this.
constexpr std::size_t maxBytesAhead = std::size_t{16} << 20;

/// Helpers pause too while more than this many folders that the walk has not reached yet are kept open: a
/// process may keep a thousand files open, often fewer.
constexpr std::size_t maxOpenAhead = 32;

/// An open folder below which others are opened by relative paths, so that no link that takes a folder's
/// place meanwhile is followed.
struct Base {
    OpenFolder folder;
    std::string fullPath;  ///< empty where it is too long to be asked about
};

struct Folder {
    enum class State : std::uint8_t { pending, beingListed, done };

    std::shared_ptr<const Base> base;  ///< where `path` starts; null for a root
    std::string path;
    std::size_t nameOffset = 0;  ///< the folder's own name is the rest of `path` from here
    DeviceId parentDevice = 0;
    std::optional<DirIndex> parent;  ///< known once the parent was visited

    State state = State::pending;
    bool isListed = false;
    FolderListing listing;
    FolderStamp stamp;
    std::vector<std::unique_ptr<Folder>> children;  ///< in listing order
    bool isKeptOpen = false;                        ///< as the base of the children
    std::list<Folder*>::iterator place;             ///< in the frontier, until done
};

/// Lists folders; knows nothing of the order in which that happens. Shared by all threads.
class Lister {
public:
    explicit Lister(const WalkOptions& options) : options_(options) {}

    /// Fills the folder's listing and children, or leaves it as not listed.
    void list(Folder& folder) const {
        if (!isOnAllowedDevice(folder)) return;
        auto open = folder.base ? folder.base->folder.openBelow(folder.path) : OpenFolder::open(folder.path);
        if (!open) return;
        const FolderStamp stamp = open->stamp();
        const DeviceId device = stamp.device;
        if (folder.base && device != folder.parentDevice && open->isOnKernelFileSystem()) return;
        const FolderStamp trusted = clock_.trusted(stamp);
        const bool isWhole = open->list(options_.detail, folder.listing, options_.stop);
        folder.stamp = isWhole ? trusted : FolderStamp{};
        folder.isListed = true;
        addChildren(folder, *std::move(open), device);
    }

private:
    bool isOnAllowedDevice(const Folder& folder) const {
        if (options_.allowedDevices.empty() || !folder.base) return true;
        const auto device = folder.base->folder.deviceBelow(folder.path);
        return !device ||
               std::ranges::find(options_.allowedDevices, *device) != options_.allowedDevices.end();
    }

    void addChildren(Folder& folder, OpenFolder&& open, DeviceId device) const {
        const bool becomesBase = !folder.base || folder.path.size() >= longPathBytes;
        std::shared_ptr<const Base> base = folder.base;
        if (becomesBase) base = std::make_shared<const Base>(std::move(open), folder.base ? "" : folder.path);
        const std::string prefix = becomesBase ? "" : folder.path + "/";
        for (std::size_t i = 0; i < folder.listing.count(); ++i) {
            const RawDirent entry = folder.listing[i];
            if (!entry.isDir || entry.isSymlink) continue;
            std::string path = prefix + std::string(entry.name);
            if (!mayEnter(*base, path)) continue;
            auto child = std::make_unique<Folder>();
            child->base = base;
            child->path = std::move(path);
            child->nameOffset = prefix.size();
            child->parentDevice = device;
            folder.children.push_back(std::move(child));
        }
        folder.isKeptOpen = becomesBase && !folder.children.empty();
    }

    bool mayEnter(const Base& base, const std::string& path) const {
        if (base.fullPath.size() + path.size() >= WalkOptions::maxAskedPathBytes || base.fullPath.empty())
            return true;
        return options_.entersChild(joinPath(base.fullPath, path));
    }

    const WalkOptions& options_;
    const StampClock clock_;
};

class Walk {
public:
    explicit Walk(const WalkOptions& options) : options_(options), lister_(options) {
        for (std::size_t i = 1; i < options.threads; ++i) {
            helpers_.emplace_back([this](const std::stop_token& stop) { help(stop); });
        }
    }

    void run(const std::vector<std::string>& roots,
             const std::function<DirIndex(const WalkedFolder&)>& visit) {
        addRoots(roots);
        while (!stack_.empty()) {
            finish(*stack_.back());
            // What was listed after a request to stop may be incomplete. Helpers may still be at the
            // children, so everything stays where it is until they have ended.
            if (options_.stop.stop_requested()) return;
            const std::unique_ptr<Folder> folder = std::move(stack_.back());
            stack_.pop_back();
            if (!folder->isListed) continue;
            const std::string_view name = std::string_view(folder->path).substr(folder->nameOffset);
            const DirIndex index = visit(
                {.parent = folder->parent, .name = name, .listing = folder->listing, .stamp = folder->stamp});
            for (std::unique_ptr<Folder>& child : folder->children) {
                child->parent = index;
                stack_.push_back(std::move(child));
            }
        }
    }

private:
    void addRoots(const std::vector<std::string>& roots) {
        const MutexGuard lock(mutex_);
        for (const std::string& root : roots) {
            auto folder = std::make_unique<Folder>();
            folder->path = root;
            folder->place = frontier_.insert(frontier_.begin(), folder.get());
            stack_.push_back(std::move(folder));
        }
        changed_.notify_all();
    }

    void help(const std::stop_token& stop) {
        const MutexGuard lock(mutex_);
        Folder* folder = nullptr;
        const auto takesOne = [&]() DOVRA_REQUIRES(mutex_) {
            folder = takeFirstPending();
            return folder != nullptr;
        };
        while (!options_.stop.stop_requested() && changed_.wait(mutex_, stop, takesOne))
            listUnlocked(*folder);
    }

    /// Returns when the folder is done, listing it or others meanwhile.
    void finish(Folder& folder) {
        const MutexGuard lock(mutex_);
        while (folder.state != Folder::State::done) {
            Folder* next = folder.state == Folder::State::pending ? &folder : takeFirstPending();
            if (next != nullptr) {
                next->state = Folder::State::beingListed;
                listUnlocked(*next);
            } else {
                changed_.wait(mutex_);
            }
        }
        const bool wasFarAhead = isFarAhead();
        bytesAhead_ -= folder.listing.memoryBytes();
        openAhead_ -= folder.isKeptOpen ? 1 : 0;
        if (wasFarAhead) changed_.notify_all();
    }

    bool isFarAhead() const DOVRA_REQUIRES(mutex_) {
        return bytesAhead_ > maxBytesAhead || openAhead_ > maxOpenAhead;
    }

    /// The first folder of the frontier that nobody is listing, now being listed by the caller; null when
    /// there is none or enough is finished ahead. At most one folder a thread is passed over.
    Folder* takeFirstPending() DOVRA_REQUIRES(mutex_) {
        if (isFarAhead()) return nullptr;
        const auto first = std::ranges::find(frontier_, Folder::State::pending, &Folder::state);
        if (first == frontier_.end()) return nullptr;
        (*first)->state = Folder::State::beingListed;
        return *first;
    }

    /// Lets the mutex go while it lists.
    void listUnlocked(Folder& folder) DOVRA_REQUIRES(mutex_) {
        std::list<Folder*> children;
        {
            const MutexUnlock unlocked(mutex_);
            lister_.list(folder);
            for (const std::unique_ptr<Folder>& child : folder.children)
                child->place = children.insert(children.begin(), child.get());
        }
        frontier_.splice(folder.place, children);
        frontier_.erase(folder.place);
        bytesAhead_ += folder.listing.memoryBytes();
        openAhead_ += folder.isKeptOpen ? 1 : 0;
        folder.state = Folder::State::done;
        changed_.notify_all();
    }

    const WalkOptions& options_;
    const Lister lister_;
    std::vector<std::unique_ptr<Folder>> stack_;  ///< the walk's own, last in first out

    Mutex mutex_;  ///< guards what says so, and the `state`, `place` and `children` of folders not done
    ConditionVariable changed_;
    std::list<Folder*> frontier_ DOVRA_GUARDED_BY(mutex_);
    std::size_t bytesAhead_ DOVRA_GUARDED_BY(mutex_) = 0;
    std::size_t openAhead_ DOVRA_GUARDED_BY(mutex_) = 0;

    std::vector<std::jthread> helpers_;  ///< last: they end before what they use
};

}  // namespace

void lookAheadWalk(const std::vector<std::string>& roots, const WalkOptions& options,
                   const std::function<DirIndex(const WalkedFolder&)>& visit) {
    Walk(options).run(roots, visit);
}

}  // namespace dovra
