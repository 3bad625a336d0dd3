#include "Platform/PollingWatch.hpp"

#include <algorithm>
#include <atomic>
#include <functional>
#include <string_view>
#include <utility>

#include "Base/JoinPath.hpp"
#include "Platform/DirectoryListing.hpp"

namespace dovra {

namespace {

constexpr std::chrono::seconds shortestInterval{2};
constexpr int restForEachPoll = 20;

void mix(std::uint64_t& hash, std::uint64_t value) {
    // FNV-1a over words (Fowler, Noll, Vo), with a shift so that high bits reach low ones.
    hash = (hash ^ value) * 0x100000001B3U;
    hash ^= hash >> 29;
}

/// Whether the folder changed so lately that its times might be the same after one more change: they advance
/// in the steps of a coarse clock.
bool isUnsettled(const FolderStamp& stamp) {
    constexpr std::chrono::milliseconds settled{50};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::nanoseconds(std::max(stamp.modified, stamp.changed)) + settled > now;
}

/// A number that differs between folders that differ, and between two states of one folder even if the
/// listing is the same again: whoever was told of a change may have looked between the two.
std::uint64_t fingerprint(const FolderStamp& stamp, const DirectoryListing& listing) {
    static std::atomic<std::uint64_t> unique{0};
    std::uint64_t hash = 0xCBF29CE484222325U;
    mix(hash, isUnsettled(stamp) ? ++unique : 0);
    mix(hash, stamp.inode);
    mix(hash, static_cast<std::uint64_t>(stamp.modified));
    mix(hash, static_cast<std::uint64_t>(stamp.changed));
    for (std::size_t i = 0; i < listing.count(); ++i) {
        const RawDirent entry = listing[i];
        mix(hash, std::hash<std::string_view>{}(entry.name));
        mix(hash, entry.size);
        mix(hash, static_cast<std::uint64_t>(entry.modTime));
        mix(hash, static_cast<std::uint64_t>(entry.crTime));
        mix(hash, static_cast<std::uint64_t>(entry.isDir ? 1 : 0) + (entry.isSymlink ? 2 : 0));
    }
    return hash;
}

}  // namespace

void PollingWatch::setTrees(std::vector<std::string> trees) {
    std::ranges::sort(trees);
    if (trees == trees_) return;
    trees_ = std::move(trees);
    std::erase_if(known_, [&](const auto& tree) { return !std::ranges::binary_search(trees_, tree.first); });
    for (const std::string& tree : trees_) {
        const auto [known, isNew] = known_.try_emplace(tree);
        if (isNew) look(tree, known->second);
    }
    nextTime_ = trees_.empty() ? Clock::time_point::max() : Clock::now() + shortestInterval;
}

void PollingWatch::poll() {
    const auto start = Clock::now();
    // Between this look and the last, whoever was told may have seen something that is past already.
    const std::vector<std::string> toldBefore = std::exchange(told_, {});
    for (auto& [tree, known] : known_) {
        Fingerprints found;
        look(tree, found);
        if (stop_.stop_requested()) return;
        for (const auto& [path, value] : found) {
            const auto before = known.find(path);
            if (before == known.end() || before->second != value) told_.push_back(path);
        }
        for (const auto& [path, value] : known) {
            if (!found.contains(path)) told_.push_back(path);
        }
        known = std::move(found);
    }
    for (const std::string& path : toldBefore)
        changes_.addPath(path);
    for (const std::string& path : told_)
        changes_.addPath(path);
    const auto taken = Clock::now() - start;
    nextTime_ = Clock::now() + std::max<Clock::duration>(shortestInterval, taken * restForEachPoll);
}

void PollingWatch::look(const std::string& tree, Fingerprints& found) const {
    std::vector<std::string> pending = {tree};
    while (!pending.empty() && !stop_.stop_requested()) {
        const std::string path = std::move(pending.back());
        pending.pop_back();
        const auto folder = OpenFolder::open(path);
        if (!folder) continue;
        const FolderStamp stamp = folder->stamp();
        DirectoryListing listing;
        folder->list(ListingDetail::attributes, listing, stop_);
        found[path] = fingerprint(stamp, listing);
        for (std::size_t i = 0; i < listing.count(); ++i) {
            if (!listing[i].isDir) continue;
            std::string child = joinPath(path, listing[i].name);
            if (enters_(child)) pending.push_back(std::move(child));
        }
    }
}

void PollingWatch::take(ChangeSet& changes) {
    ChangeBatch batch = changes_.take();
    if (batch.mustRescan) changes.loseTrack();
    for (std::string& path : batch.paths)
        changes.addPath(std::move(path));
}

}  // namespace dovra
