#include "Analysis/ContentComparison.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <set>
#include <utility>

#include "Analysis/Hashing.hpp"
#include "Base/Concurrency.hpp"
#include "Platform/Process.hpp"
#include "Platform/RegularFile.hpp"

// Size groups are compared side by side, each by the thread that took it: most are small, and a barrier after
// every stage of every file would leave the processors waiting. Only the members of a group with much to read
// are shared out again. Each file is opened once and stays open while its group is compared, as long as that
// leaves descriptors for everybody else; what is not kept open is opened again for each range.

namespace dovra {

namespace {

using Finder = DuplicateFinder;
using Request = DuplicateFinder::DigestRequest;

/// Less is read by one thread: waking others would take longer.
constexpr std::uint64_t parallelBytes = std::uint64_t{256} * 1024;
constexpr std::size_t parallelMembers = 32;

constexpr std::size_t mostFilesKeptOpen = 1024;

std::uint64_t bytesOf(std::span<const Request> requests) {
    std::uint64_t bytes = 0;
    for (const Request& request : requests)
        bytes += static_cast<std::uint64_t>(request.length);
    return bytes;
}

template <typename Use>
void forEachBelow(std::size_t count, bool onAllProcessors, const Use& use) {
    if (onAllProcessors) return concurrentPerform(count, use);
    for (std::size_t i = 0; i < count; ++i)
        use(i);
}

/// Counts the files that are kept open, over all threads.
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

/// What all groups of one search share.
struct Search {
    const DuplicateCandidates& candidates;
    OpenFileBudget& budget;
    HashProgress& progress;
    const std::stop_token& stop;
};

/// Tells a file on disk from all others, whatever names it has.
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
        const auto kept = std::ranges::count_if(members_, [](const Member& m) { return m.file.has_value(); });
        search_.budget.giveBack(kept);
        search_.progress.filesDone += group_.ids.size();
        search_.progress.bytesToHash -= group_.ids.size() * size_ - hashedBytes_;
    }
    GroupComparison(const GroupComparison&) = delete;
    GroupComparison& operator=(const GroupComparison&) = delete;

    std::vector<Finder::IdGroup> run() {
        forEachBelow(members_.size(), members_.size() >= parallelMembers,
                     [&](std::size_t i) { open(members_[i]); });
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
        std::optional<RegularFile> file;  ///< while it is kept open
        std::optional<Digest> head;       ///< when it was taken right after opening
    };

    /// The start of a file is read on the way, unless it might be read under another name too.
    void open(Member& member) {
        if (search_.stop.stop_requested()) return;
        const auto path = search_.candidates.path(member.id);
        if (!path) return;
        auto file = RegularFile::open(*path, RegularFile::Links::refuse);
        if (!file || file->size() > size_) return;
        member.wasOpened = true;
        member.identity = identityOf(*file);
        if (file->linkCount() == 1)
            member.head =
                rangeDigest(*file, 0, static_cast<std::int64_t>(std::min(size_, Finder::edgeBytes)));
        if (search_.budget.take()) member.file = std::move(file);
    }

    /// Leaves the first name of each file on disk among the members.
    void dropFurtherNames() {
        std::set<Identity> seen;
        search_.progress.furtherNames += std::erase_if(members_, [&](const Member& member) {
            if (seen.insert(member.identity).second) return false;
            if (member.file) search_.budget.giveBack(1);
            return true;
        });
    }

    Finder::Digests digests(std::span<const Request> requests) {
        Finder::Digests found(requests.size());
        const std::uint64_t bytes = bytesOf(requests);
        forEachBelow(requests.size(), bytes >= parallelBytes,
                     [&](std::size_t i) { found[i] = digest(requests[i]); });
        hashedBytes_ += bytes;
        search_.progress.bytesDone += bytes;
        return found;
    }

    std::optional<Digest> digest(const Request& request) const {
        if (search_.stop.stop_requested()) return std::nullopt;
        const Member& member = *std::ranges::lower_bound(members_, request.id, {}, &Member::id);
        if (request.offset == 0 && member.head) return member.head;
        if (member.file) return rangeDigest(*member.file, request.offset, request.length);
        const auto file = reopen(member);
        return file ? rangeDigest(*file, request.offset, request.length) : std::nullopt;
    }

    /// Absent when something else has taken the file's place.
    std::optional<RegularFile> reopen(const Member& member) const {
        auto file =
            RegularFile::open(search_.candidates.path(member.id).value_or(""), RegularFile::Links::refuse);
        if (file && identityOf(*file) != member.identity) file.reset();
        return file;
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
