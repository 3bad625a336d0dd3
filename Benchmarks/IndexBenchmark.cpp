// The filling of an index, the cost of an entry, the look-up of folders, and the cache file.

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Index/Clocks.hpp"
#include "Index/IndexCache.hpp"
#include "Index/TrigramIndex.hpp"
#include "Platform/Process.hpp"
#include "Random.hpp"
#include "SyntheticIndex.hpp"

namespace dovra::benchmarks {

namespace {

constexpr std::size_t million = 1'000'000;
constexpr std::uint64_t seed = 7;

/// A folder as a scan hands it over. It is kept, so that only the storing is measured.
struct Folder {
    std::optional<DirIndex> parent;
    std::string name;
    FolderListing listing;
};

std::vector<Folder> foldersOfTree(std::size_t entries) {
    std::vector<Folder> folders;
    walkSyntheticTree(entries, [&](const WalkedFolder& walked) {
        Folder& folder = folders.emplace_back(Folder{walked.parent, std::string(walked.name), {}});
        for (std::size_t i = 0; i < walked.listing.count(); ++i)
            folder.listing.add(walked.listing[i]);
        return static_cast<DirIndex>(folders.size()) - 1;
    });
    return folders;
}

void storeAll(FileIndex& index, const std::vector<Folder>& folders) {
    for (const Folder& folder : folders)
        storeFolder(index, {folder.parent, folder.name, folder.listing});
}

void reportEntries(benchmark::State& state, std::size_t entries) {
    state.counters["entries"] = static_cast<double>(entries);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(entries));
}

void append(benchmark::State& state) {
    const std::vector<Folder> folders = foldersOfTree(million);
    for (auto _ : state) {
        FileIndex index;
        storeAll(index, folders);
        state.PauseTiming();
        index.reset();
        state.ResumeTiming();
    }
    reportEntries(state, million);
}

void appendWithTrigrams(benchmark::State& state) {
    const std::vector<Folder> folders = foldersOfTree(million);
    for (auto _ : state) {
        FileIndex index;
        index.attachTrigramIndex(std::make_shared<TrigramIndex>());
        storeAll(index, folders);
        state.PauseTiming();
        index.reset();
        state.ResumeTiming();
    }
    reportEntries(state, million);
}

/// The cost of an entry: by the index's own account, and by the growth of the process during the filling. The
/// time means nothing. Runs first and once, so that no released memory is at hand.
void memory(benchmark::State& state) {
    const auto before = residentMemoryBytes();
    FileIndex& index = syntheticIndex(million);
    const auto after = residentMemoryBytes();
    for (auto _ : state)
        benchmark::DoNotOptimize(index.memoryBytes());
    const std::size_t bytes = index.memoryBytes();
    const ReadGuard guard(index.rwlock);
    const auto perEntry = [](std::size_t total) { return static_cast<double>(total) / million; };
    state.counters["entries"] = static_cast<double>(million);
    state.counters["bytes_per_entry"] = perEntry(bytes);
    if (before && after && *after > *before)
        state.counters["resident_bytes_per_entry"] = perEntry(*after - *before);
    state.counters["name_bytes_per_entry"] = perEntry(index.namePoolLocked().size());
    state.counters["entries_per_folder"] = 1 / perEntry(index.directoriesLocked().count());
}

/// Folders in an order that the processor cannot predict.
std::vector<DirIndex> shuffledFolders(const FolderTable& folders) {
    Random random(seed);
    std::vector<DirIndex> order(100'000);
    for (DirIndex& folder : order)
        folder = static_cast<DirIndex>(random.below(folders.count()));
    return order;
}

void findByPath(benchmark::State& state) {
    const FileIndex& index = syntheticIndex(million);
    const ReadGuard guard(index.rwlock);
    const FolderTable& folders = index.directoriesLocked();
    std::vector<std::string> paths;
    for (const DirIndex folder : shuffledFolders(folders))
        paths.push_back(folders.path(folder));
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(folders.find(paths[at++ % paths.size()]));
    state.SetItemsProcessed(state.iterations());
}

void findChild(benchmark::State& state) {
    const FileIndex& index = syntheticIndex(million);
    const ReadGuard guard(index.rwlock);
    const FolderTable& folders = index.directoriesLocked();
    std::vector<DirIndex> children = shuffledFolders(folders);
    std::erase_if(children, [&](DirIndex folder) { return !folders.parent(folder); });
    std::size_t at = 0;
    for (auto _ : state) {
        const DirIndex child = children[at++ % children.size()];
        benchmark::DoNotOptimize(folders.findChild(*folders.parent(child), folders.name(child)));
    }
    state.SetItemsProcessed(state.iterations());
}

void buildPath(benchmark::State& state) {
    const FileIndex& index = syntheticIndex(million);
    const ReadGuard guard(index.rwlock);
    const FolderTable& folders = index.directoriesLocked();
    const std::vector<DirIndex> order = shuffledFolders(folders);
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(folders.path(order[at++ % order.size()]));
    state.SetItemsProcessed(state.iterations());
}

/// A folder for cache files, removed at the end.
class CacheFolder {
public:
    CacheFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dovra-benchmark-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
        path_ = pattern;
        // The program looks for its files here.
        ::setenv("XDG_DATA_HOME", path_.c_str(), 1);
    }
    ~CacheFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    CacheFolder(const CacheFolder&) = delete;
    CacheFolder& operator=(const CacheFolder&) = delete;

private:
    std::string path_;
};

const IndexImageSubject anySubject{.volumeDev = 1, .root = std::string(syntheticRoot)};

void saveTo(const IndexCache& cache, const FileIndex& index, benchmark::State& state) {
    if (const auto error = cache.save(index, anySubject.volumeDev, nextEventId(0)))
        state.SkipWithError(error->message.c_str());
}

void saveCache(benchmark::State& state) {
    const CacheFolder folder;
    const IndexCache cache(cacheFileName(syntheticRoot));
    const FileIndex& index = syntheticIndex(million);
    for (auto _ : state)
        saveTo(cache, index, state);
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(*cache.filePath()));
    reportEntries(state, million);
}

/// Loads the file, which the system has in memory, into an index that is ready for searches.
void loadCache(benchmark::State& state, bool withTrigrams) {
    const auto entries = static_cast<std::size_t>(state.range(0));
    const CacheFolder folder;
    const IndexCache cache(cacheFileName(syntheticRoot));
    saveTo(cache, syntheticIndex(entries), state);
    for (auto _ : state) {
        FileIndex index;
        if (withTrigrams) index.attachTrigramIndex(std::make_shared<TrigramIndex>());
        if (!cache.load(index, anySubject)) state.SkipWithError("the cache was refused");
        state.PauseTiming();
        index.reset();
        state.ResumeTiming();
    }
    reportEntries(state, entries);
}

BENCHMARK(memory)->Name("memory/1M")->Iterations(1);
BENCHMARK(append)->Name("append/1M")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(appendWithTrigrams)->Name("append_with_trigrams/1M")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(findByPath)->Name("folders/find_by_path/1M")->UseRealTime();
BENCHMARK(findChild)->Name("folders/find_child/1M")->UseRealTime();
BENCHMARK(buildPath)->Name("folders/build_path/1M")->UseRealTime();
BENCHMARK(saveCache)->Name("cache/save/1M")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadCache, plain, false)
    ->Name("cache/load")
    ->Arg(million)
    ->Arg(10 * million)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadCache, with_trigrams, true)
    ->Name("cache/load_with_trigrams")
    ->Arg(million)
    ->Arg(10 * million)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace dovra::benchmarks

BENCHMARK_MAIN();
