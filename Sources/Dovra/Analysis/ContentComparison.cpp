#include "Analysis/ContentComparison.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <set>
#include <utility>

#include "Analysis/RangeDigests.hpp"
#include "Base/Concurrency.hpp"
#include "Platform/Process.hpp"
#include "Platform/RegularFile.hpp"

// Size groups are compared side by side, each by one thread: most are small, and a barrier after every stage
// of every file would leave the processors waiting. Only a group of many members, or with much to read, is
// shared out again. A file stays open while its group is compared, as long as enough descriptors are left for
// the rest of the process. Otherwise it is opened again for each piece.

namespace dovra {

namespace {

using Finder = DuplicateFinder;
using Request = DuplicateFinder::DigestRequest;

/// One thread opens this many: waking others for fewer would take longer.
constexpr std::size_t membersPerPiece = 32;

constexpr std::size_t mostFilesKeptOpen = 1024;

/// Counts the files kept open by all threads.
class OpenFileBudget {
public:
    OpenFileBudget() : left_(static_cast<std::ptrdiff_t>(std::min(mostFilesKeptOpen, openFileLimit() / 4))) {}

    bool take() {
        if (left_.fetch_sub(1, std::memory_order_relaxed) > 0) return true;
        giveBack(1);
        return false;
    }
    void giveBack(std::ptrdiff_t count) { left_.fetch_add(count, std::memory_order_relaxed); }

private:
    std::atomic<std::ptrdiff_t> left_;
};

/// The state shared by all groups of one search.
struct Search {
    const DuplicateCandidates& candidates;
    OpenFileBudget& budget;
    HashProgress& progress;
    const std::stop_token& stop;
};

/// Device and inode: one value for all names of a file.
using Identity = std::pair<std::uint64_t, std::uint64_t>;

Identity identityOf(const RegularFile& file) {
    return {file.device(), file.inode()};
}

/// The comparison of the files of one size.
class GroupComparison {
public:
    GroupComparison(const Finder::SizeGroup& group, const Search& search)
        : group_(group), size_(group.size), search_(search), members_(group.ids.size()) {
        for (std::size_t i = 0; i < members_.size(); ++i)
            members_[i].id = group.ids[i];
    }

    ~GroupComparison() {
        const auto kept = std::ranges::count_if(members_, [](const Member& m) { return m.file != nullptr; });
        search_.budget.giveBack(kept);
        search_.progress.filesDone += group_.ids.size();
        search_.progress.bytesToHash -= group_.ids.size() * size_ - hashedBytes_;
    }
    GroupComparison(const GroupComparison&) = delete;
    GroupComparison& operator=(const GroupComparison&) = delete;

    std::vector<Finder::IdGroup> run() {
        const auto openAll = [&](std::size_t first, std::size_t last) {
            for (Member& member : std::span(members_).subspan(first, last - first))
                open(member);
        };
        performInPieces(members_.size(), membersPerPiece, openAll, search_.stop);
        std::erase_if(members_, [](const Member& member) { return !member.wasOpened; });
        dropFurtherNames();
        Finder::IdGroup distinct;
        for (const Member& member : members_)
            distinct.push_back(member.id);
        return Finder::refine(size_, std::move(distinct),
                              [&](std::span<const Request> requests) { return digests(requests); });
    }

private:
    struct Member {
        EntryId id = 0;
        bool wasOpened = false;
        Identity identity;
        std::shared_ptr<const RegularFile> file;  ///< present while it is kept open
    };

    void open(Member& member) {
        auto file = openCandidate(member.id);
        if (!file || file->size() > size_) return;
        member.wasOpened = true;
        member.identity = identityOf(*file);
        if (search_.budget.take()) member.file = std::move(file);
    }

    /// Keeps only the first name of each file on disk.
    void dropFurtherNames() {
        std::set<Identity> seen;
        search_.progress.furtherNames += std::erase_if(members_, [&](const Member& member) {
            if (seen.insert(member.identity).second) return false;
            if (member.file) search_.budget.giveBack(1);
            return true;
        });
    }

    Finder::Digests digests(std::span<const Request> requests) {
        const Request& range = requests.front();
        const auto length = static_cast<std::uint64_t>(range.length);
        const auto fileAt = [&](std::size_t i) { return fileOf(requests[i].id); };
        Finder::Digests found = rangeDigests(requests.size(), fileAt, range.offset, length);
        const std::uint64_t bytes = requests.size() * length;
        hashedBytes_ += bytes;
        search_.progress.bytesDone += bytes;
        return found;
    }

    /// The member's file, opened again if it was not kept open; null when another file has taken its place.
    std::shared_ptr<const RegularFile> fileOf(EntryId id) const {
        if (search_.stop.stop_requested()) return nullptr;
        const Member& member = *std::ranges::lower_bound(members_, id, {}, &Member::id);
        if (member.file) return member.file;
        auto file = openCandidate(id);
        return file && identityOf(*file) == member.identity ? file : nullptr;
    }

    std::shared_ptr<const RegularFile> openCandidate(EntryId id) const {
        const auto path = search_.candidates.path(id);
        auto file = path ? RegularFile::openKnown(*path) : std::nullopt;
        return file ? std::make_shared<const RegularFile>(std::move(*file)) : nullptr;
    }

    const Finder::SizeGroup& group_;
    const std::uint64_t size_;
    const Search& search_;
    std::vector<Member> members_;  ///< by identifier
    std::uint64_t hashedBytes_ = 0;
};

}  // namespace

std::vector<Finder::SizeGroup> contentDuplicateGroups(const DuplicateCandidates& candidates,
                                                      HashProgress& progress, const std::stop_token& stop) {
    const auto sizeGroups = candidates.groups();
    for (const Finder::SizeGroup& group : sizeGroups) {
        progress.filesToHash += group.ids.size();
        progress.bytesToHash += group.ids.size() * group.size;
    }
    OpenFileBudget budget;
    const Search search{candidates, budget, progress, stop};
    std::vector<std::vector<Finder::IdGroup>> equal(sizeGroups.size());
    concurrentPerform(sizeGroups.size(),
                      [&](std::size_t i) { equal[i] = GroupComparison(sizeGroups[i], search).run(); });
    std::vector<Finder::SizeGroup> groups;
    for (std::size_t i = 0; i < equal.size(); ++i) {
        for (Finder::IdGroup& ids : equal[i])
            groups.push_back({sizeGroups[i].size, std::move(ids)});
    }
    return groups;
}

}  // namespace dovra
