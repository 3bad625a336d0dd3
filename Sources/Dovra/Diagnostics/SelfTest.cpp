#include "Diagnostics/SelfTest.hpp"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "Base/PathText.hpp"
#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "Diagnostics/IndexCheck.hpp"
#include "Diagnostics/QueryGenerator.hpp"
#include "Diagnostics/ReadableFolder.hpp"
#include "Diagnostics/SearchCheck.hpp"
#include "Index/Crawl.hpp"
#include "Platform/StandardStreams.hpp"

namespace dovra {

namespace {

/// Measures the time since its construction.
class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point start_ = Clock::now();
};

/// The number of faults that are printed.
constexpr std::size_t shownFaults = 20;

/// A file may change between two scans. A tree that changes in all attempts cannot be compared.
constexpr int scanAttempts = 3;

/// The entries that all queries of one round visit together: about 20 seconds.
constexpr std::size_t entriesPerRound = 25'000'000;
constexpr std::size_t fewestQueries = 20;
constexpr std::size_t mostQueries = 1500;

/// One of `deletedShare` entries is deleted for the second round, and this many subtrees.
constexpr unsigned deletedShare = 10;
constexpr int deletedSubtrees = 3;

/// Paths beyond this average length are too long to be built for every query.
constexpr std::size_t longestUsualPath = 4096;

/// Queries read the files of a tree only within these bounds.
constexpr std::uint64_t mostFilesRead = 20'000;
constexpr std::uint64_t mostBytesRead = 32'000'000;

class Run {
public:
    Run(std::string root, std::uint64_t seed) : root_(std::move(root)), seed_(seed) {}

    int run() {
        printOutput("Self test of {}, seed {}\n", visibleText(root_), seed_);
        checkScans();
        checkIndex();
        checkSearches("searches", queryCount());
        deleteSome();
        checkIndex();
        checkSearches("searches after deletions", queryCount() / 3);
        printOutput("{} in {:.1f} s\n", faults_ == 0 ? "passed" : "FAILED", total_.seconds());
        return faults_ == 0 ? 0 : 1;
    }

private:
    std::unique_ptr<FileIndex> scan(std::size_t threads, std::shared_ptr<TrigramIndex> trigram) const {
        auto index = std::make_unique<FileIndex>();
        index->attachTrigramIndex(std::move(trigram));
        crawl(*index, {root_}, {.threads = threads});
        return index;
    }

    /// Scans on one thread and on all until both agree. A difference is a fault only if two scans on one
    /// thread agree.
    void checkScans() {
        const Stopwatch watch;
        std::optional<std::string> difference;
        bool isStable = false;
        for (int attempt = 0; attempt < scanAttempts; ++attempt) {
            trigram_ = std::make_shared<TrigramIndex>();
            index_ = scan(0, trigram_);
            const auto single = scan(1, nullptr);
            difference = indexDifference(*single, *index_);
            if (!difference) break;
            isStable = !indexDifference(*single, *scan(1, nullptr));
        }
        if (difference && isStable) fault("one thread and several find different things: " + *difference);
        const ReadGuard guard(index_->rwlock);
        report("scan", watch,
               fmt::format("{} entries in {} folders; one thread and several {}",
                           index_->entriesLocked().size(), index_->directoriesLocked().count(),
                           !difference ? "agree"
                           : isStable  ? "differ"
                                       : "could not be compared: the tree keeps changing"));
    }

    void checkIndex() {
        const Stopwatch watch;
        const std::vector<std::string> violations = indexViolations(*index_);
        for (const std::string& violation : violations)
            fault("index: " + violation);
        report("index", watch, violations.empty() ? "all invariants hold" : "invariants are violated");
    }

    std::size_t entryCount() const {
        const ReadGuard guard(index_->rwlock);
        return index_->entriesLocked().size();
    }

    std::size_t queryCount() const {
        const std::size_t affordable = entriesPerRound / std::max<std::size_t>(entryCount(), 1);
        return std::clamp(affordable, fewestQueries, mostQueries);
    }

    /// Whether the paths of all entries are short enough to be built for a query, estimated from a sample.
    bool hasUsualPaths() const {
        const ReadGuard guard(index_->rwlock);
        const auto entries = index_->entriesLocked();
        constexpr std::size_t samples = 100;
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < samples && !entries.empty(); ++i)
            bytes += index_->directoriesLocked().path(entries[entries.size() * i / samples].dirIndex).size();
        return bytes / samples <= longestUsualPath;
    }

    bool hasLittleToRead() const {
        const ReadGuard guard(index_->rwlock);
        std::uint64_t bytes = 0;
        for (const FileEntry& entry : index_->entriesLocked())
            bytes += entry.size;
        return index_->entriesLocked().size() <= mostFilesRead && bytes <= mostBytesRead;
    }

    void checkSearches(std::string_view what, std::size_t count) {
        const Stopwatch watch;
        const QueryGenerator::Limits limits = {.mayUsePaths = hasUsualPaths(),
                                               .mayReadFiles = hasLittleToRead()};
        QueryGenerator generator(*index_, seed_++, limits);
        SearchCheck check(*index_, trigram_);
        std::size_t differing = 0;
        for (std::size_t i = 0; i < count; ++i) {
            showProgress(what, i, count);
            const GeneratedSearch search = generator.next();
            const auto differences = check.differences(search);
            differing += differences.empty() ? 0 : 1;
            for (const std::string& difference : differences)
                fault(fmt::format("{}: {}\n    {}", what, difference, repeatingCommand(root_, search)));
        }
        clearProgress();
        report(what, watch,
               fmt::format("{} queries, {} with matches, four ways each: {} differ{}", count,
                           check.matchedSearches(), differing,
                           limits.mayUsePaths ? "" : "; none on paths, which are too long here"));
    }

    /// Deletes a share of the files and a few subtrees with their own entries, as changes on disk would.
    void deleteSome() {
        std::mt19937_64 random(seed_++);
        const WriteGuard guard(index_->rwlock);
        const auto entries = index_->entriesLocked();
        for (std::size_t id = 0; id < entries.size(); ++id) {
            if (!entries[id].isFolder() && random() % deletedShare == 0)
                index_->tombstoneLocked(static_cast<EntryId>(id));
        }
        for (int i = 0; i < deletedSubtrees && !entries.empty(); ++i)
            deleteSubtreeLocked(static_cast<EntryId>(random() % entries.size()));
        index_->raiseGenerationLocked();
        printOutput("{} of {} entries deleted\n", index_->tombstoneCountLocked(), entries.size());
    }

    void deleteSubtreeLocked(EntryId id) DOVRA_REQUIRES(index_->rwlock) {
        const FileEntry entry = index_->entriesLocked()[static_cast<std::size_t>(id)];
        const std::string folder = index_->directoriesLocked().path(entry.dirIndex);
        if (entry.isFolder()) index_->tombstoneSubtreeLocked(joinPath(folder, index_->nameLocked(entry)));
        index_->tombstoneLocked(id);
    }

    void report(std::string_view what, const Stopwatch& watch, const std::string& result) const {
        printOutput("{}: {} ({:.1f} s)\n", what, result, watch.seconds());
    }

    void fault(const std::string& text) {
        if (++faults_ <= shownFaults) printOutput("FAULT {}\n", text);
        if (faults_ == shownFaults + 1) printOutput("FAULT and more, which are not shown\n");
    }

    void showProgress(std::string_view what, std::size_t done, std::size_t all) const {
        if (isPersonWatching_) printError("\r{} {} of {} ", what, done, all);
    }
    void clearProgress() const {
        if (isPersonWatching_) printError("\r\x1b[K");
    }

    const std::string root_;
    std::uint64_t seed_;
    const Stopwatch total_;
    const bool isPersonWatching_ = isTerminal(StandardStream::error);
    std::shared_ptr<TrigramIndex> trigram_;
    std::unique_ptr<FileIndex> index_;
    std::size_t faults_ = 0;
};

}  // namespace

int SelfTest::run(const std::string& path, std::uint64_t seed) {
    const std::optional<std::string> root = readableFolder(path);
    return root ? Run(*root, seed).run() : 1;
}

}  // namespace dovra
