// The reports over a made-up index, for the rows of the performance budget. Their reading from the disk is
// measured by Benchmarks/compare.

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <numeric>
#include <vector>

#include "Analysis/DiskUsage.hpp"
#include "Analysis/DuplicateCandidates.hpp"
#include "SyntheticIndex.hpp"

namespace dovra::benchmarks {

namespace {

constexpr std::int64_t pageRows = 20;

void diskUsage(benchmark::State& state) {
    const FileIndex& index = syntheticIndex(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(directoryUsage(index, std::nullopt, pageRows));
}

void diskUsageUnder(benchmark::State& state) {
    const FileIndex& index = syntheticIndex(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(directoryUsage(index, syntheticRoot, pageRows));
}

/// A search for equal files up to the opening of the first one.
void duplicateCandidates(benchmark::State& state) {
    const FileIndex& index = syntheticIndex(static_cast<std::size_t>(state.range(0)));
    std::vector<EntryId> ids(static_cast<std::size_t>(state.range(0)));
    std::iota(ids.begin(), ids.end(), 0);
    std::size_t groups = 0;
    for (auto _ : state) {
        std::vector<DuplicateFinder::Item> items;
        {
            const ReadGuard guard(index.rwlock);
            items = duplicateItemsLocked(index, ids);
        }
        groups = DuplicateCandidates(index, items).groups().size();
    }
    state.counters["groups"] = static_cast<double>(groups);
}

void forOneAndTenMillion(benchmark::internal::Benchmark* registered) {
    registered->Arg(1'000'000)->Arg(10'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(diskUsage)->Apply(forOneAndTenMillion);
BENCHMARK(diskUsageUnder)->Apply(forOneAndTenMillion);
BENCHMARK(duplicateCandidates)->Apply(forOneAndTenMillion);

}  // namespace

}  // namespace dovra::benchmarks

BENCHMARK_MAIN();
