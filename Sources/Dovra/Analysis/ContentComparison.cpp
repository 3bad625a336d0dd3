#include "Analysis/ContentComparison.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <utility>

#include "Analysis/RangeDigest.hpp"
#include "Base/ConcurrentPerform.hpp"
#include "Platform/OpenFileLimit.hpp"
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

std::size_t pairCount(std::size_t count) {
    return (count + 1) / 2;
}

/// One or two elements.
template <typename T>
std::span<T> pairAt(std::span<T> all, std::size_t pair) {
    return all.subspan(2 * pair, std::min<std::size_t>(2, all.size() - 2 * pair));
}

std::uint64_t bytesOf(std::span<const Request> requests) {
    std::uint64_t bytes = 0;
    for (const Request& request : requests)
        bytes += static_cast<std::uint64_t>(request.length);
    return bytes;
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

using FilePair = std::array<const RegularFile*, 2>;

/// Tells a file on disk from all others, whatever names it has.
using Identity = std::pair<std::uint64_t, std::uint64_t>;

Identity identityOf(const RegularFile& file) {
    return {file.device(), file.inode()};
}

/// The names beside the one that stands for a file on disk, by that one.
using LinkedNames = std::map<EntryId, Finder::IdGroup>;

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
        openMembers();
        std::erase_if(members_, [](const Member& member) { return !member.wasOpened; });
        LinkedNames linked = separateLinks();
        Finder::IdGroup distinct;
        for (const Member& member : members_)
            distinct.push_back(member.id);
        auto groups = Finder::refine(size_, std::move(distinct),
                                     [&](std::span<const Request> requests) { return digests(requests); });
        addLinkedNames(std::move(linked), groups);
        return groups;
    }

private:
    struct Member {
        EntryId id = 0;
        bool wasOpened = false;
        bool hasOtherNames = false;
        Identity identity;
        std::optional<RegularFile> file;  ///< while it is kept open
        std::optional<Digest> head;       ///< when it was taken right after opening
    };

    /// Two at a time, as all that follows.
    void openMembers() {
        const auto openPair = [&](std::size_t i) { open(pairAt(std::span(members_), i)); };
        const std::size_t pairs = pairCount(members_.size());
        if (members_.size() >= parallelMembers) return concurrentPerform(pairs, openPair);
        for (std::size_t i = 0; i < pairs; ++i)
            openPair(i);
    }

    /// The start of a file is read on the way, unless it might be read under another name too.
    void open(std::span<Member> pair) {
        FilePair files{};
        for (std::size_t i = 0; i < pair.size(); ++i) {
            openOne(pair[i]);
            if (pair[i].file && !pair[i].hasOtherNames) files[i] = &*pair[i].file;
        }
        const auto heads =
            rangeDigests(files, 0, static_cast<std::int64_t>(std::min(size_, Finder::edgeBytes)));
        for (std::size_t i = 0; i < pair.size(); ++i) {
            pair[i].head = heads[i];
            if (pair[i].file && !search_.budget.take()) pair[i].file.reset();
        }
    }

    void openOne(Member& member) {
        if (search_.stop.stop_requested()) return;
        const auto path = search_.candidates.path(member.id);
        if (!path) return;
        member.file = RegularFile::open(*path, RegularFile::Links::refuse);
        if (member.file && member.file->size() > size_) member.file.reset();
        if (!member.file) return;
        member.wasOpened = true;
        member.identity = identityOf(*member.file);
        member.hasOtherNames = member.file->linkCount() > 1;
    }

    /// Leaves one name of each file on disk among the members.
    LinkedNames separateLinks() {
        std::map<Identity, EntryId> standsFor;
        LinkedNames linked;
        std::erase_if(members_, [&](Member& member) {
            if (!member.hasOtherNames) return false;
            const auto [first, isFirst] = standsFor.try_emplace(member.identity, member.id);
            if (isFirst) return false;
            linked[first->second].push_back(member.id);
            if (member.file) search_.budget.giveBack(1);
            return true;
        });
        return linked;
    }

    /// Every name follows the one that was read; a file without an equal is a set of its own names.
    static void addLinkedNames(LinkedNames linked, std::vector<Finder::IdGroup>& groups) {
        for (Finder::IdGroup& group : groups) {
            Finder::IdGroup others;
            for (const EntryId id : group) {
                if (const auto names = linked.extract(id))
                    std::ranges::copy(names.mapped(), std::back_inserter(others));
            }
            group.insert(group.end(), others.begin(), others.end());
            std::ranges::sort(group);
        }
        for (auto& [id, others] : linked) {
            others.insert(others.begin(), id);
            groups.push_back(std::move(others));
        }
        std::ranges::sort(groups, {}, [](const Finder::IdGroup& group) { return group.front(); });
    }

    Finder::Digests digests(std::span<const Request> requests) {
        Finder::Digests found =
            parallelDigests(requests, [&](auto pair, auto pairDigests) { answer(pair, pairDigests); });
        const std::uint64_t bytes = bytesOf(requests);
        hashedBytes_ += bytes;
        search_.progress.bytesDone += bytes;
        return found;
    }

    void answer(std::span<const Request> requests, std::span<std::optional<Digest>> digests) const {
        if (search_.stop.stop_requested()) return;
        std::array<std::optional<RegularFile>, 2> reopened;
        FilePair files{};
        for (std::size_t i = 0; i < requests.size(); ++i) {
            const Member& member = *std::ranges::lower_bound(members_, requests[i].id, {}, &Member::id);
            if (requests[i].offset == 0) digests[i] = member.head;
            if (digests[i]) continue;
            if (!member.file) reopened[i] = reopen(member);
            const auto& file = member.file ? member.file : reopened[i];
            if (file) files[i] = &*file;
        }
        const auto read = rangeDigests(files, requests[0].offset, requests[0].length);
        for (std::size_t i = 0; i < requests.size(); ++i) {
            if (!digests[i]) digests[i] = read[i];
        }
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

Finder::Digests parallelDigests(std::span<const Request> requests, const PairDigester& answer) {
    Finder::Digests digests(requests.size());
    const auto answerPair = [&](std::size_t i) {
        answer(pairAt(requests, i), pairAt(std::span(digests), i));
    };
    const std::size_t pairs = pairCount(requests.size());
    if (bytesOf(requests) < parallelBytes) {
        for (std::size_t i = 0; i < pairs; ++i)
            answerPair(i);
    } else {
        concurrentPerform(pairs, answerPair);
    }
    return digests;
}

}  // namespace dovra
