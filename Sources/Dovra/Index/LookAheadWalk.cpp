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

// A walk is bound by the kernel's work for each folder, which processors can share. Yet identifiers must not
// depend on which thread was faster: two scans could not be compared then.
//
// The order of the walk is a property of the tree alone. All folders that are known and not yet finished
// stand in one list, the frontier, in the order in which the walk will reach them. A helper takes the first
// folder that no thread is listing; once it is finished, its children take its place. So helpers work as
// close ahead of the walk as they can. The walk takes finished folders strictly in its own order, so the
// sequence is the same for any number of threads. If its next folder is not finished, the walk lists it
// itself or, while a helper lists it, the first free folder of the frontier.
//
// A listing that takes much longer than its entries explain has waited for the disk, and left its processor
// to others. When that happens again and again, the walk takes further helpers: a disk serves many at once.
//
// A folder costs two short critical sections. The listings finished ahead of the walk have a bound on their
// memory, and the folders kept open for their children have one on their number. The walk ends because each
// folder is taken once and links are not followed.

namespace dovra {

namespace {

/// A path of this length or longer is not extended: the folders below are opened relative to this one, so
/// that no path outgrows the limit of a system call (a name adds at most 256 bytes).
constexpr std::size_t longPathBytes = WalkOptions::maxAskedPathBytes;

/// Helpers pause while the finished listings ahead of the walk take more memory than this.
constexpr std::size_t maxBytesAhead = std::size_t{16} << 20;

/// Helpers pause too while more than this many folders ahead of the walk are kept open: a process may keep a
/// thousand files open, often fewer.
constexpr std::size_t maxOpenAhead = 32;

/// The longest time, in nanoseconds, that a listing takes which does not wait: several times what was
/// measured.
constexpr std::int64_t longestAwake(std::size_t entries) {
    return 100'000 + 4'000 * static_cast<std::int64_t>(entries);
}

/// The walk takes one more helper for so many waits, up to this multiple of its usual threads. They must come
/// close together: so many listings that do not wait make up for one that does. Else a busy machine would
/// pass for a slow disk.
constexpr std::size_t waitsPerHelper = 8;
constexpr std::size_t awakePerWait = 32;
constexpr std::size_t mostThreads = 4;

/// An open folder from which others are opened by relative paths, so that a link in a folder's former place
/// is not followed.
struct Base {
    OpenFolder folder;
    std::string fullPath;  ///< empty when it is too long for `entersChild`
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

/// Memory of finished folders and listings, for others. One thread would free what another has allocated, and
/// all would wait for the allocator's lock.
class Spares {
public:
    std::unique_ptr<Folder> takeFolder() {
        if (folders_.empty()) return std::make_unique<Folder>();
        return takeLast(folders_);
    }
    FolderListing takeListing() { return listings_.empty() ? FolderListing() : takeLast(listings_); }

    void add(std::unique_ptr<Folder> folder) {
        FolderListing listing = std::move(folder->listing);
        listing.truncate();
        if (listing.capacityBytes() <= largestKeptListing) listings_.push_back(std::move(listing));
        Folder unused;
        unused.path = std::move(folder->path);
        unused.path.clear();
        unused.children = std::move(folder->children);
        unused.children.clear();
        *folder = std::move(unused);
        folders_.push_back(std::move(folder));
    }

    /// Takes some from the others if there are few, and gives them those beyond a few.
    void balance(Spares& others) {
        balance(folders_, others.folders_);
        balance(listings_, others.listings_);
    }

private:
    static constexpr std::size_t fewest = 16;
    static constexpr std::size_t most = 64;
    static constexpr std::size_t largestKeptListing = std::size_t{256} << 10;

    template <typename T>
    static T takeLast(std::vector<T>& all) {
        T last = std::move(all.back());
        all.pop_back();
        return last;
    }

    template <typename T>
    static void balance(std::vector<T>& own, std::vector<T>& others) {
        while (own.size() > most)
            others.push_back(takeLast(own));
        while (own.size() < fewest && !others.empty())
            own.push_back(takeLast(others));
    }

    std::vector<std::unique_ptr<Folder>> folders_;
    std::vector<FolderListing> listings_;
};

/// Lists folders; their order is not its concern. Shared by all threads.
class Lister {
public:
    explicit Lister(const WalkOptions& options) : options_(options) {}

    /// Fills the folder's listing and children, or leaves it as not listed. `start` is the time before the
    /// call, by which the folder's stamp is judged.
    void list(Folder& folder, Spares& spares, const ClockReading& start) const {
        if (!isOnAllowedDevice(folder)) return;
        auto open = folder.base ? folder.base->folder.openBelow(folder.path) : OpenFolder::open(folder.path);
        if (!open) return;
        const FolderStamp stamp = open->stamp();
        const DeviceId device = stamp.device;
        if (folder.base && device != folder.parentDevice && open->isOnKernelFileSystem()) return;
        const FolderStamp trusted = clock_.trusted(stamp, start);
        const bool isWhole =
            open->list(options_.detail, folder.listing, options_.stop, options_.needsAttributes);
        folder.stamp = isWhole ? trusted : FolderStamp{};
        folder.isListed = true;
        addChildren(folder, *std::move(open), device, spares);
    }

private:
    bool isOnAllowedDevice(const Folder& folder) const {
        if (options_.allowedDevices.empty() || !folder.base) return true;
        const auto device = folder.base->folder.deviceBelow(folder.path);
        return !device ||
               std::ranges::find(options_.allowedDevices, *device) != options_.allowedDevices.end();
    }

    void addChildren(Folder& folder, OpenFolder&& open, DeviceId device, Spares& spares) const {
        const bool becomesBase = !folder.base || folder.path.size() >= longPathBytes;
        std::shared_ptr<const Base> base = folder.base;
        if (becomesBase) base = std::make_shared<const Base>(std::move(open), folder.base ? "" : folder.path);
        const std::string prefix = becomesBase ? "" : folder.path + "/";
        for (std::size_t i = 0; i < folder.listing.count(); ++i) {
            const RawDirent entry = folder.listing[i];
            if (!entry.isDir || entry.isSymlink) continue;
            std::string path = prefix + std::string(entry.name);
            if (!mayEnter(*base, path)) continue;
            auto child = spares.takeFolder();
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
        for (std::size_t i = 1; i < options.threads; ++i)
            addHelper();
    }

    void run(const std::vector<std::string>& roots,
             const std::function<DirIndex(const WalkedFolder&)>& visit) {
        addRoots(roots);
        while (!stack_.empty()) {
            finish(*stack_.back());
            // A listing after a request to stop may be incomplete. Helpers may still use the children, so all
            // folders stay in place until the helpers have ended.
            if (options_.stop.stop_requested()) return;
            std::unique_ptr<Folder> folder = std::move(stack_.back());
            stack_.pop_back();
            if (!folder->isListed) continue;
            const std::string_view name = std::string_view(folder->path).substr(folder->nameOffset);
            const DirIndex index = visit(
                {.parent = folder->parent, .name = name, .listing = folder->listing, .stamp = folder->stamp});
            for (std::unique_ptr<Folder>& child : folder->children) {
                child->parent = index;
                stack_.push_back(std::move(child));
            }
            spares_.add(std::move(folder));
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

    void addHelper() {
        helpers_.emplace_back([this](const std::stop_token& stop) { help(stop); });
    }

    /// Adds a helper if listings wait for the disk, unless the walk is meant for one thread.
    void addHelperForWaits() DOVRA_REQUIRES(mutex_) {
        const std::size_t threads = 1 + helpers_.size();
        if (waits_ < waitsPerHelper * awakePerWait || options_.threads == 1 ||
            threads >= mostThreads * options_.threads)
            return;
        waits_ = 0;
        addHelper();
    }

    void help(const std::stop_token& stop) {
        Spares spares;
        const MutexGuard lock(mutex_);
        Folder* folder = nullptr;
        const auto takesOne = [&]() DOVRA_REQUIRES(mutex_) {
            folder = takeFirstPending();
            return folder != nullptr;
        };
        while (!options_.stop.stop_requested() && changed_.wait(mutex_, stop, takesOne))
            listUnlocked(*folder, spares);
    }

    /// Returns when the folder is done, and lists it or others meanwhile.
    void finish(Folder& folder) {
        const MutexGuard lock(mutex_);
        while (folder.state != Folder::State::done) {
            addHelperForWaits();
            Folder* next = folder.state == Folder::State::pending ? &folder : takeFirstPending();
            if (next != nullptr) {
                next->state = Folder::State::beingListed;
                listUnlocked(*next, spares_);
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

    /// The first folder of the frontier that no thread is listing, now taken by the caller. Null when there
    /// is none or enough is finished ahead. The search passes over at most one folder for each thread.
    Folder* takeFirstPending() DOVRA_REQUIRES(mutex_) {
        if (isFarAhead()) return nullptr;
        const auto first = std::ranges::find(frontier_, Folder::State::pending, &Folder::state);
        if (first == frontier_.end()) return nullptr;
        (*first)->state = Folder::State::beingListed;
        return *first;
    }

    /// Releases the mutex while it lists.
    void listUnlocked(Folder& folder, Spares& spares) DOVRA_REQUIRES(mutex_) {
        std::list<Folder*> children;
        bool hasWaited = false;
        spares.balance(sharedSpares_);
        {
            const MutexUnlock unlocked(mutex_);
            folder.listing = spares.takeListing();
            const ClockReading start;
            lister_.list(folder, spares, start);
            hasWaited = steadyClockNow() - start.steady > longestAwake(folder.listing.count());
            for (const std::unique_ptr<Folder>& child : folder.children)
                child->place = children.insert(children.begin(), child.get());
        }
        frontier_.splice(folder.place, children);
        frontier_.erase(folder.place);
        waits_ = hasWaited ? waits_ + awakePerWait : waits_ - std::min<std::size_t>(waits_, 1);
        bytesAhead_ += folder.listing.memoryBytes();
        openAhead_ += folder.isKeptOpen ? 1 : 0;
        folder.state = Folder::State::done;
        changed_.notify_all();
    }

    const WalkOptions& options_;
    const Lister lister_;
    std::vector<std::unique_ptr<Folder>> stack_;  ///< the walk's own, last in first out
    Spares spares_;                               ///< the walk's own

    Mutex mutex_;  ///< also guards `state`, `place` and `children` of folders not done
    ConditionVariable changed_;
    std::list<Folder*> frontier_ DOVRA_GUARDED_BY(mutex_);
    Spares sharedSpares_ DOVRA_GUARDED_BY(mutex_);
    /// For the disk: `awakePerWait` for each, less one for each other listing.
    std::size_t waits_ DOVRA_GUARDED_BY(mutex_) = 0;
    std::size_t bytesAhead_ DOVRA_GUARDED_BY(mutex_) = 0;
    std::size_t openAhead_ DOVRA_GUARDED_BY(mutex_) = 0;

    std::vector<std::jthread> helpers_;  ///< last: they end before the members they use
};

}  // namespace

void lookAheadWalk(const std::vector<std::string>& roots, const WalkOptions& options,
                   const std::function<DirIndex(const WalkedFolder&)>& visit) {
    Walk(options).run(roots, visit);
}

}  // namespace dovra
