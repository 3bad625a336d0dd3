#include "SyntheticIndex.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "Random.hpp"
#include "SyntheticNames.hpp"

namespace dovra::benchmarks {

namespace {

constexpr std::uint64_t seed = 20240229;
constexpr std::size_t maxDepth = 12;
/// A subtree of at most this many entries is one folder of files.
constexpr std::size_t maxLeafEntries = 30;

constexpr double latestTime = 1'700'000'000;
constexpr double tenYears = 10 * 365.25 * 86400;

/// A folder still to be visited, with the number of entries below it.
struct PendingFolder {
    std::optional<DirIndex> parent;
    std::string name;
    std::size_t entries;
    std::size_t depth;
};

class TreeMaker {
public:
    explicit TreeMaker(const std::function<DirIndex(const WalkedFolder&)>& visit) : visit_(visit) {}

    void make(std::size_t entries) {
        pending_.push_back({std::nullopt, std::string(syntheticRoot), entries, 0});
        while (!pending_.empty()) {
            const PendingFolder folder = std::move(pending_.back());
            pending_.pop_back();
            makeFolder(folder);
        }
    }

private:
    /// Lists the subfolders and some files, and divides the remaining entries among the subfolders.
    void makeFolder(const PendingFolder& folder) {
        listing_.clear();
        const std::size_t subfolders = subfolderCount(folder);
        const std::size_t files = subfolders == 0
                                      ? folder.entries
                                      : std::min(folder.entries - subfolders, random_.below(maxLeafEntries));
        for (std::size_t i = 0; i < files; ++i)
            addFile();
        const std::size_t firstChild = pending_.size();
        shareOut(folder, subfolders, folder.entries - files - subfolders);
        for (std::size_t child = firstChild; child < pending_.size(); ++child)
            addSubfolder(pending_[child].name);
        const DirIndex made = visit_({folder.parent, folder.name, listing_});
        for (std::size_t child = firstChild; child < pending_.size(); ++child)
            pending_[child].parent = made;
    }

    std::size_t subfolderCount(const PendingFolder& folder) {
        if (folder.entries <= maxLeafEntries || folder.depth == maxDepth) return 0;
        return folder.entries > 2000 ? 4 + random_.below(9) : 1 + random_.below(4);
    }

    /// Adds the subfolders to the pending folders, with shares that differ widely.
    void shareOut(const PendingFolder& parent, std::size_t subfolders, std::size_t entries) {
        std::vector<double> shares(subfolders);
        double sum = 0;
        for (double& share : shares)
            sum += share = 0.05 + random_.unit() * random_.unit();
        const std::size_t firstChild = pending_.size();
        std::size_t left = entries;
        for (std::size_t i = 0; i < subfolders; ++i) {
            const auto part = static_cast<std::size_t>(static_cast<double>(entries) * shares[i] / sum);
            const std::size_t own = i + 1 == subfolders ? left : std::min(part, left);
            left -= own;
            pending_.push_back({std::nullopt, newName(firstChild), own, parent.depth + 1});
        }
    }

    /// A name that none of the folders pending from `firstSibling` on has.
    std::string newName(std::size_t firstSibling) {
        for (;;) {
            const std::string_view name = names_.folderName();
            const auto siblings = std::span(pending_).subspan(firstSibling);
            if (std::ranges::find(siblings, name, &PendingFolder::name) == siblings.end())
                return std::string(name);
        }
    }

    void addSubfolder(std::string_view name) {
        const double modified = time();
        listing_.add({.name = name, .isDir = true, .modTime = modified, .crTime = modified});
    }

    void addFile() {
        const double modified = time();
        listing_.add({.name = names_.fileName(),
                      .isSymlink = random_.percent(2),
                      .size = size(),
                      .modTime = modified,
                      .crTime = modified - static_cast<double>(random_.below(1'000'000))});
    }

    /// Each order of magnitude up to 16 MB is equally frequent; a few sizes are larger.
    std::uint64_t size() {
        const std::size_t magnitude = random_.below(1000) == 0 ? 32 : random_.below(24);
        return random_.next() & ((std::uint64_t{2} << magnitude) - 1);
    }

    /// Recent times are more frequent than old ones.
    double time() {
        const double age = random_.unit();
        return latestTime - static_cast<double>(static_cast<std::int64_t>(age * age * tenYears));
    }

    const std::function<DirIndex(const WalkedFolder&)>& visit_;
    Random random_{seed};
    SyntheticNames names_{random_};
    FolderListing listing_;
    std::vector<PendingFolder> pending_;
};

}  // namespace

void walkSyntheticTree(std::size_t entries, const std::function<DirIndex(const WalkedFolder&)>& visit) {
    TreeMaker(visit).make(entries);
}

DirIndex storeFolder(FileIndex& index, const WalkedFolder& folder) {
    const WriteGuard guard(index.rwlock);
    const DirIndex dirIndex = folder.parent ? index.internChildDirLocked(*folder.parent, folder.name)
                                            : index.internDirLocked(folder.name);
    index.storeListingLocked(dirIndex, folder.listing);
    return dirIndex;
}

FileIndex& syntheticIndex(std::size_t entries) {
    static std::map<std::size_t, FileIndex> indexes;
    const auto [found, isNew] = indexes.try_emplace(entries);
    FileIndex& index = found->second;
    if (isNew) {
        walkSyntheticTree(entries, [&](const WalkedFolder& folder) { return storeFolder(index, folder); });
    }
    return index;
}

}  // namespace dovra::benchmarks
