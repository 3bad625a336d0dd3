#include "Diagnostics/Benchmark.hpp"

#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "Diagnostics/Latency.hpp"
#include "Diagnostics/ReadableFolder.hpp"
#include "Index/Clocks.hpp"
#include "Index/Crawl.hpp"
#include "Index/IndexCache.hpp"
#include "Platform/Process.hpp"
#include "Query/SearchEngine.hpp"

namespace dovra {

namespace {

using Key = SortSpec::Key;

constexpr Latency::Repetitions scanRepetitions{.time = std::chrono::seconds(2), .atLeast = 3, .atMost = 20};
constexpr Latency::Repetitions queryRepetitions{
    .time = std::chrono::milliseconds(500), .atLeast = 5, .atMost = 200};

constexpr Latency::Repetitions cacheRepetitions{.time = std::chrono::seconds(1), .atLeast = 3, .atMost = 20};

constexpr std::int64_t pageRows = 100;
constexpr std::int64_t sortedRows = 5000;

struct Query {
    std::string_view what;
    std::string_view text;
    Key sort = Key::name;
    std::int64_t limit = pageRows;
};

constexpr Query queries[] = {
    {"substring, rare", "makefile"},
    {"substring, common", "lib"},
    {"substring, none", "zzqx"},
    {"one letter", "e"},
    {"path", "path:share"},
    {"text with a slash", "lib/python"},
    {"and", "lib test"},
    {"or", "png|svg|jpg"},
    {"not", "lib !test"},
    {"wildcards", "lib*.so"},
    {"whole word", "ww:test"},
    {"extension", "ext:txt;md"},
    {"size", "size:>1mb"},
    {"date", "dm:thisyear"},
    {"folders", "folder: lib"},
    {"regex with a literal", "regex:^lib.*\\.so"},
    {"regex without", "regex:^[a-z]+[0-9]+$"},
    {"fuzzy", "fuzzy:cnfgur"},
    {"similar", "similar:readme.txt"},
    {"sorted by name", "lib", Key::name, sortedRows},
    {"sorted by path", "lib", Key::path, sortedRows},
    {"sorted by size", "lib", Key::size, sortedRows},
    {"sorted by date", "lib", Key::modified, sortedRows},
    {"sorted by relevance", "lib", Key::relevance, sortedRows},
    {"duplicate names", "dupe: lib"},
    {"empty folders", "empty:"},
};

void printSize(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    printOutput("Index:    {} entries, {} folders, {} bytes of names\n", index.entriesLocked().size(),
                index.directoriesLocked().count(), index.namePoolLocked().size());
}

/// Scans the tree again and again, each time into a new index.
void printScanTime(std::string_view what, const std::string& root, ListingDetail detail) {
    std::int64_t count = 0;
    const Latency latency = Latency::measure(scanRepetitions, [&] {
        FileIndex scratch;
        crawl(scratch, {root}, {.detail = detail});
        count = scratch.itemCount();
    });
    printOutput("Scan:     {:.1f} ms {} (median of {}, best {:.1f} ms, {:.2f} M entries/s)\n",
                latency.median(), what, latency.runs(), latency.minimum(),
                static_cast<double>(count) / 1000 / latency.median());
}

double perEntry(const FileIndex& index, double bytes) {
    const std::int64_t entries = index.itemCount();
    return entries == 0 ? 0 : bytes / static_cast<double>(entries);
}

void printMemory(const FileIndex& index) {
    const auto bytes = static_cast<double>(index.memoryBytes());
    printOutput("Memory:   {:.1f} bytes an entry, {:.1f} MB\n", perEntry(index, bytes), bytes / 1e6);
}

/// Scans into the index, and prints the time and the growth of the process's memory.
void scanOnce(FileIndex& index, const std::string& root) {
    const auto before = residentMemoryBytes();
    const Latency latency =
        Latency::measure({.time = {}, .atLeast = 1, .atMost = 1}, [&] { crawl(index, {root}, {}); });
    const auto after = residentMemoryBytes();
    printSize(index);
    printMemory(index);
    if (before && after) {
        const double grown = static_cast<double>(*after) - static_cast<double>(*before);
        printOutput("Resident: {:.1f} bytes an entry added by the scan, {:.1f} MB in all\n",
                    perEntry(index, grown), static_cast<double>(*after) / 1e6);
    }
    printOutput("Scan:     {:.1f} ms the first time, with attributes\n", latency.median());
}

/// A cache file of the benchmark's own, removed at the end.
class ScratchCache {
public:
    ScratchCache() : cache_("benchmark.cache") { cache_.remove(); }
    ~ScratchCache() { cache_.remove(); }
    ScratchCache(const ScratchCache&) = delete;
    ScratchCache& operator=(const ScratchCache&) = delete;

    const IndexCache* operator->() const { return &cache_; }

private:
    const IndexCache cache_;
};

/// Saves the index and loads it into a new one, again and again.
void printCacheTimes(const FileIndex& index, const std::string& root) {
    const ScratchCache cache;
    const IndexImageSubject subject{.root = root};
    std::optional<FileError> error;
    const Latency saving = Latency::measure(
        cacheRepetitions, [&] { error = cache->save(index, subject.volumeDev, nextEventId(0)); });
    if (error) {
        printOutput("Cache:    {}\n", visibleText(error->message));
        return;
    }
    bool isLoaded = true;
    const Latency loading = Latency::measure(cacheRepetitions, [&] {
        FileIndex scratch;
        isLoaded = isLoaded && cache->load(scratch, subject).has_value();
    });
    std::error_code unknown;
    const auto bytes = static_cast<double>(std::filesystem::file_size(*cache->filePath(), unknown));
    if (!isLoaded || unknown) {
        printOutput("Cache:    what was saved could not be loaded\n");
        return;
    }
    printOutput(
        "Cache:    {:.1f} MB, {:.1f} bytes an entry; saved in {:.1f} ms, loaded in {:.1f} ms (medians)\n",
        bytes / 1e6, perEntry(index, bytes), saving.median(), loading.median());
}

void printQuery(const FileIndex& index, const Query& query) {
    std::int64_t hits = 0;
    const Latency latency = Latency::measure(
        queryRepetitions, [&] { hits = search(index, query.text, {.key = query.sort}, query.limit).total; });
    printOutput("{:<22}{:<24}{:>10}{:>12.3f}{:>12.3f}{:>6}\n", query.what, query.text, hits, latency.median(),
                latency.percentile(99), latency.runs());
}

void printQueries(const FileIndex& index) {
    printOutput("\n{:<22}{:<24}{:>10}{:>12}{:>12}{:>6}\n", "query", "", "hits", "median ms", "p99 ms",
                "runs");
    for (const Query& query : queries)
        printQuery(index, query);
}

}  // namespace

int Benchmark::run(std::string_view root, bool trigram) {
    const std::optional<std::string> path = readableFolder(root);
    if (!path) return 1;
    printOutput("Root:     {}\n", visibleText(*path));
    FileIndex index;
    const auto trigramIndex = trigram ? std::make_shared<TrigramIndex>() : nullptr;
    index.attachTrigramIndex(trigramIndex);
    scanOnce(index, *path);
    if (trigramIndex) printOutput("Trigram:  {} postings indexed\n", trigramIndex->postingCount());
    printScanTime("with attributes", *path, ListingDetail::attributes);
    printScanTime("names and types only", *path, ListingDetail::namesAndTypes);
    printCacheTimes(index, *path);
    printQueries(index);
    return 0;
}

}  // namespace dovra
