#include "Diagnostics/Benchmark.hpp"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/core.h>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "Base/PrintError.hpp"
#include "Base/Utf8.hpp"
#include "Diagnostics/Latency.hpp"
#include "Diagnostics/ReadableFolder.hpp"
#include "Index/Crawl.hpp"
#include "Index/EventId.hpp"
#include "Index/IndexCache.hpp"
#include "Platform/ProcessMemory.hpp"
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

/// Lines on standard output, written as soon as they are known: a run takes a while.
class Report {
public:
    template <typename... Values>
    void line(fmt::format_string<Values...> format, Values&&... values) {
        const std::string text = fmt::format(format, std::forward<Values>(values)...) + "\n";
        errno = 0;
        const bool wasWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
        if ((!wasWritten || std::fflush(stdout) != 0) && error_ == 0) error_ = errno;
    }

    /// 0 when everything could be written; otherwise says why not.
    int finish() const {
        if (error_ == 0) return 0;
        printError("dovra: cannot write to standard output: {}\n", std::generic_category().message(error_));
        return 1;
    }

private:
    int error_ = 0;
};

void printSize(Report& report, const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    report.line("Index:    {} entries, {} folders, {} bytes of names", index.entriesLocked().size(),
                index.directoriesLocked().count(), index.namePoolLocked().size());
}

/// Scans the tree again and again into an index that is thrown away.
void printScanTime(Report& report, std::string_view what, const std::string& root, ListingDetail detail) {
    std::int64_t count = 0;
    const Latency latency = Latency::measure(scanRepetitions, [&] {
        FileIndex scratch;
        crawl(scratch, {root}, {.detail = detail});
        count = scratch.itemCount();
    });
    report.line("Scan:     {:.1f} ms {} (median of {}, best {:.1f} ms, {:.2f} M entries/s)", latency.median(),
                what, latency.runs(), latency.minimum(),
                static_cast<double>(count) / 1000 / latency.median());
}

double perEntry(const FileIndex& index, double bytes) {
    const std::int64_t entries = index.itemCount();
    return entries == 0 ? 0 : bytes / static_cast<double>(entries);
}

void printMemory(Report& report, const FileIndex& index) {
    const auto bytes = static_cast<double>(index.memoryBytes());
    report.line("Memory:   {:.1f} bytes an entry, {:.1f} MB", perEntry(index, bytes), bytes / 1e6);
}

/// Scans into the index, and says how long it took and what it did to the memory of the process.
void scanOnce(Report& report, FileIndex& index, const std::string& root) {
    const auto before = residentMemoryBytes();
    const Latency latency =
        Latency::measure({.time = {}, .atLeast = 1, .atMost = 1}, [&] { crawl(index, {root}, {}); });
    const auto after = residentMemoryBytes();
    printSize(report, index);
    printMemory(report, index);
    if (before && after) {
        const double grown = static_cast<double>(*after) - static_cast<double>(*before);
        report.line("Resident: {:.1f} bytes an entry added by the scan, {:.1f} MB in all",
                    perEntry(index, grown), static_cast<double>(*after) / 1e6);
    }
    report.line("Scan:     {:.1f} ms the first time, with attributes", latency.median());
}

/// A cache file of the benchmark's own, which is removed at the end.
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

/// Saves the index and loads it into one that is thrown away, again and again.
void printCacheTimes(Report& report, const FileIndex& index, const std::string& root) {
    const ScratchCache cache;
    const SnapshotSubject subject{.root = root};
    std::optional<FileError> error;
    const Latency saving = Latency::measure(
        cacheRepetitions, [&] { error = cache->save(index, subject.volumeDev, nextEventId(0)); });
    if (error) {
        report.line("Cache:    {}", visibleText(error->message));
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
        report.line("Cache:    what was saved could not be loaded");
        return;
    }
    report.line(
        "Cache:    {:.1f} MB, {:.1f} bytes an entry; saved in {:.1f} ms, loaded in {:.1f} ms (medians)",
        bytes / 1e6, perEntry(index, bytes), saving.median(), loading.median());
}

void printQuery(Report& report, const FileIndex& index, const Query& query) {
    std::int64_t hits = 0;
    const Latency latency = Latency::measure(
        queryRepetitions, [&] { hits = search(index, query.text, {.key = query.sort}, query.limit).total; });
    report.line("{:<22}{:<24}{:>10}{:>12.3f}{:>12.3f}{:>6}", query.what, query.text, hits, latency.median(),
                latency.percentile(99), latency.runs());
}

void printQueries(Report& report, const FileIndex& index) {
    report.line("\n{:<22}{:<24}{:>10}{:>12}{:>12}{:>6}", "query", "", "hits", "median ms", "p99 ms", "runs");
    for (const Query& query : queries)
        printQuery(report, index, query);
}

}  // namespace

int Benchmark::run(std::string_view root, bool trigram) {
    const std::optional<std::string> path = readableFolder(root);
    if (!path) return 1;
    Report report;
    report.line("Root:     {}", visibleText(*path));
    FileIndex index;
    const auto trigramIndex = trigram ? std::make_shared<TrigramIndex>() : nullptr;
    index.attachTrigramIndex(trigramIndex);
    scanOnce(report, index, *path);
    if (trigramIndex) report.line("Trigram:  {} postings indexed", trigramIndex->postingCount());
    printScanTime(report, "with attributes", *path, ListingDetail::attributes);
    printScanTime(report, "names and types only", *path, ListingDetail::namesAndTypes);
    printCacheTimes(report, index, *path);
    printQueries(report, index);
    return report.finish();
}

}  // namespace dovra
