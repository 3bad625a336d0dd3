// Searches over made-up names, for the rows of the performance budget, on one thread or on all. Each
// benchmark reports the matches and the size of the index beside its time. A benchmark of few matches fails
// when there are many: no change of the made-up names can quietly change the measured case.

#include <benchmark/benchmark.h>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>

#include "Base/Concurrency.hpp"
#include "Index/IndexImage.hpp"
#include "Query/MatchOrder.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchEngine.hpp"
#include "SyntheticIndex.hpp"

namespace dovra::benchmarks {

namespace {

using Key = SortSpec::Key;
using Mode = FileIndex::ScanMode;

constexpr std::size_t million = 1'000'000;
constexpr std::int64_t pageRows = 100;
constexpr std::int64_t sortedRows = 5000;
constexpr double few = 0.01;
constexpr double any = 1;

struct QueryCase {
    std::string_view name;
    std::string_view query;
    double largestShareOfMatches = any;
};

/// Terms that differ in their digits, like a pasted list of numbered files.
const std::string thousandsOfTerms = [] {
    std::string query = "zephyr";
    for (int i = 0; i < 20000; ++i)
        query += fmt::format("|x{:05}", i);
    return query;
}();

const QueryCase nameQueries[] = {
    {"substring/rare", "zephyr", few},
    {"substring/three_letters", "wid", few},
    {"substring/common_bytes", "tera", few},
    {"substring/no_match", "zzqx", few},
    {"path", "path:zephyr"},
    {"needle_with_slash", "test/test"},
    {"and", "test zephyr .js", few},
    {"or", "zephyr|socket|matrix"},
    {"or/thousands", thousandsOfTerms, few},
    {"not", "zephyr !js", few},
    {"not/alone", "!js"},
    {"not/in_paths", "!/."},
    {"everything", ""},
    {"one_letter", "e"},
    {"extension", "ext:epub"},
    {"size", "size:>1gb"},
    {"date", "dm:>=2023-10"},
    {"regex/with_literal", "regex:^zephyr[-_].*[.]js$", few},
    {"regex/without_literal", "regex:^[a-z]+[0-9]{2,4}\\W"},
    {"fuzzy/five_letters", "fuzzy:zphyr"},
    {"fuzzy/seven_letters", "fuzzy:cntrcts"},
    {"fuzzy/common_letters", "fuzzy:seral"},
    {"similar", "similar:zephyr_report.pdf"},
};

constexpr QueryCase trigramQueries[] = {
    {"regex/with_literal", "regex:^zephyr[-_].*[.]js$", few},
    {"regex/without_literal", "regex:^[a-z]+[0-9]{2,4}\\W"},
    {"similar", "similar:zephyr_report.pdf"},
};

struct KeyCase {
    std::string_view name;
    Key key;
};

constexpr KeyCase sortKeys[] = {{"name", Key::name},
                                {"path", Key::path},
                                {"size", Key::size},
                                {"date", Key::modified},
                                {"relevance", Key::relevance}};

std::string_view modeName(Mode mode) {
    return mode == Mode::serial ? "one_thread" : "all_threads";
}

/// Forces a scan mode for the lifetime of one benchmark.
class ForcedMode {
public:
    ForcedMode(FileIndex& index, Mode mode) : index_(index) { index_.setScanModeOverride(mode); }
    ~ForcedMode() { index_.setScanModeOverride(std::nullopt); }
    ForcedMode(const ForcedMode&) = delete;
    ForcedMode& operator=(const ForcedMode&) = delete;

private:
    FileIndex& index_;
};

class AttachedTrigrams {
public:
    explicit AttachedTrigrams(FileIndex& index) : index_(index) { index_.attachTrigramIndex(ofNames(index)); }
    ~AttachedTrigrams() { index_.attachTrigramIndex(nullptr); }
    AttachedTrigrams(const AttachedTrigrams&) = delete;
    AttachedTrigrams& operator=(const AttachedTrigrams&) = delete;

private:
    /// Made once: all benchmarks with trigrams use the same index.
    static std::shared_ptr<TrigramIndex> ofNames(const FileIndex& index) {
        static const std::shared_ptr<TrigramIndex> trigrams = [&] {
            auto made = std::make_shared<TrigramIndex>();
            const ReadGuard guard(index.rwlock);
            for (EntryId id = 0; static_cast<std::size_t>(id) < index.entriesLocked().size(); ++id)
                made->add(id, index.nameLocked(id));
            return made;
        }();
        return trigrams;
    }

    FileIndex& index_;
};

void reportSizes(benchmark::State& state, std::size_t entries, std::int64_t matches) {
    state.counters["entries"] = static_cast<double>(entries);
    state.counters["hits"] = static_cast<double>(matches);
}

void runQuery(benchmark::State& state, const FileIndex& index, std::size_t entries, const QueryCase& query) {
    std::int64_t matches = 0;
    for (auto _ : state)
        matches = search(index, query.query, {}, pageRows).total;
    reportSizes(state, entries, matches);
    const double share = static_cast<double>(matches) / static_cast<double>(entries);
    if (share > query.largestShareOfMatches) state.SkipWithError("more matches than this is about");
}

void inMilliseconds(benchmark::internal::Benchmark* registered) {
    registered->UseRealTime()->Unit(benchmark::kMillisecond);
}

/// An index to search.
struct Subject {
    std::string name;
    FileIndex* (*index)();
};

/// As a scan leaves it, some minutes later: in large pages.
template <std::size_t entries>
FileIndex* scanned() {
    static FileIndex* const index = [] {
        syntheticIndex(entries).gatherIntoLargePages();
        return &syntheticIndex(entries);
    }();
    return index;
}

/// As a start leaves it that found the names in the cache.
template <std::size_t entries>
FileIndex* loaded() {
    static FileIndex* const index = [] {
        static FileIndex restored;
        std::string image;
        const auto add = [&](std::string_view bytes) {
            image += bytes;
            return true;
        };
        if (encodeIndexImage(syntheticIndex(entries), 1, 1, add) != Encoded::whole ||
            !loadIndexImage(restored, IndexImageSource::fromBytes(image), {.volumeDev = 1, .root = {}}))
            throw std::runtime_error("the index was not saved and loaded");
        return &restored;
    }();
    return index;
}

/// After months: a twentieth of the entries deleted, and as many added since.
template <std::size_t entries>
FileIndex* lived() {
    static FileIndex* const index = [] {
        static FileIndex aged;
        walkSyntheticTree(entries, [&](const WalkedFolder& folder) { return storeFolder(aged, folder); });
        {
            const WriteGuard guard(aged.rwlock);
            for (EntryId id = 7; static_cast<std::size_t>(id) < entries; id += 20)
                aged.tombstoneLocked(id);
        }
        aged.gatherIntoLargePages();
        walkSyntheticTree(entries / 20, [&](const WalkedFolder& folder) {
            return storeFolder(aged, {.parent = folder.parent,
                                      .name = folder.parent ? folder.name : "/added",
                                      .listing = folder.listing});
        });
        return &aged;
    }();
    return index;
}

/// Reads the names once, as fast as the memory gives them: the least that a search for a name can take.
std::uint64_t sumOfWords(const std::uint8_t* bytes, std::size_t count) {
    std::uint64_t sums[8] = {};
    for (std::size_t at = 0; at + 64 <= count; at += 64) {
        __builtin_prefetch(bytes + at + 2048);
        std::uint64_t words[8];
        std::memcpy(words, bytes + at, sizeof words);
        for (std::size_t i = 0; i < 8; ++i)
            sums[i] += words[i];
    }
    return std::accumulate(std::begin(sums), std::end(sums), std::uint64_t{0});
}

void registerRead(const Subject& subject, Mode mode) {
    const std::string name = fmt::format("read_names/{}/{}", subject.name, modeName(mode));
    inMilliseconds(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        const FileIndex& index = *subject.index();
        const ReadGuard guard(index.rwlock);
        const NamePool& names = index.namePoolLocked();
        constexpr std::size_t pieceBytes = std::size_t{1} << 20;
        const std::size_t each = mode == Mode::serial ? names.size() : pieceBytes;
        for (auto _ : state) {
            performInPieces(names.size(), each, [&](std::size_t first, std::size_t last) {
                benchmark::DoNotOptimize(sumOfWords(names.bytes() + first, last - first));
            });
        }
        reportSizes(state, index.entriesLocked().size(), 0);
    }));
}

void registerQueries(const Subject& subject, Mode mode) {
    for (const QueryCase& query : nameQueries) {
        const std::string name = fmt::format("{}/{}/{}", query.name, subject.name, modeName(mode));
        inMilliseconds(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            FileIndex& index = *subject.index();
            const ForcedMode forced(index, mode);
            runQuery(state, index, static_cast<std::size_t>(index.itemCount()), query);
        }));
    }
}

void registerTrigramQueries() {
    for (const QueryCase& query : trigramQueries) {
        const std::string name = fmt::format("trigram/{}/1M", query.name);
        inMilliseconds(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            FileIndex& index = syntheticIndex(million);
            const AttachedTrigrams attached(index);
            runQuery(state, index, million, query);
        }));
    }
}

/// The largest number of matches that are still sorted, spread evenly over the index.
std::vector<EntryId> evenlySpread(std::size_t entries) {
    std::vector<EntryId> ids;
    for (std::int64_t i = 0; i < FileIndex::sortCap; ++i)
        ids.push_back(static_cast<EntryId>(i * static_cast<std::int64_t>(entries) / FileIndex::sortCap));
    return ids;
}

/// The sort alone, without the search before it.
void registerSorts(std::size_t entries) {
    for (const auto& [keyName, key] : sortKeys) {
        const std::string name = fmt::format("sort_300000/{}/{}M", keyName, entries / million);
        inMilliseconds(benchmark::RegisterBenchmark(name.c_str(), [=, key = key](benchmark::State& state) {
            const FileIndex& index = syntheticIndex(entries);
            const CompiledQuery query = QueryParser::parse("e");
            const std::vector<EntryId> matches = evenlySpread(entries);
            const ReadGuard guard(index.rwlock);
            for (auto _ : state)
                benchmark::DoNotOptimize(sortMatchesLocked(index, matches, {.key = key}, query, sortedRows));
            reportSizes(state, entries, std::ssize(matches));
        }));
    }
}

/// A whole search with about as many matches as are still sorted: the time that a person waits. The same
/// search with a limit of no rows shows the share of the rest.
void registerSortedSearches() {
    constexpr std::string_view query = "v";
    for (const auto& [keyName, key] : sortKeys) {
        const std::string name = fmt::format("sorted_search/{}/1M", keyName);
        inMilliseconds(benchmark::RegisterBenchmark(name.c_str(), [=, key = key](benchmark::State& state) {
            const FileIndex& index = syntheticIndex(million);
            std::int64_t matches = 0;
            for (auto _ : state)
                matches = search(index, query, {.key = key}, sortedRows).total;
            reportSizes(state, million, matches);
            if (matches > FileIndex::sortCap) state.SkipWithError("too many matches to be sorted");
        }));
    }
}

}  // namespace

}  // namespace dovra::benchmarks

int main(int argc, char** argv) {
    using namespace dovra::benchmarks;
    const Subject subjects[] = {{"1M", scanned<million>},
                                {"10M", scanned<10 * million>},
                                {"loaded_10M", loaded<10 * million>},
                                {"lived_10M", lived<10 * million>}};
    for (const Subject& subject : subjects) {
        for (const Mode mode : {Mode::serial, Mode::parallel}) {
            registerRead(subject, mode);
            registerQueries(subject, mode);
        }
    }
    for (const std::size_t entries : {million, 10 * million})
        registerSorts(entries);
    registerTrigramQueries();
    registerSortedSearches();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
