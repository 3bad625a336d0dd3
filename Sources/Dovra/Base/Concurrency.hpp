#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>
#include <stop_token>
#include <thread>
#include <vector>

#include "Base/Locks.hpp"

namespace dovra {

/// The number of threads that `concurrentPerform` spreads over; at least 1.
std::size_t activeProcessorCount();

/// The same as `concurrentPerform`, on new threads. For the thread sanitizer, which sees the pool's library
/// only in part and would report races.
template <typename Body>
void performOnNewThreads(std::size_t iterations, const Body& body) {
    std::atomic<std::size_t> next{0};
    struct {
        Mutex mutex;
        std::exception_ptr exception DOVRA_GUARDED_BY(mutex);
    } failure;
    const auto work = [&] {
        try {
            for (std::size_t i = next++; i < iterations; i = next++)
                body(i);
        } catch (...) {
            const MutexGuard lock(failure.mutex);
            failure.exception = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> helpers;
        for (std::size_t i = 1; i < activeProcessorCount(); ++i)
            helpers.emplace_back(work);
        work();
    }
    const MutexGuard lock(failure.mutex);
    if (failure.exception) std::rethrow_exception(failure.exception);
}

/// Calls `body(i)` for every i below `iterations`, spread over the processors on a pool that stays warm, and
/// returns when all are done. Iterations must not depend on each other; they may call this function. While it
/// waits, the calling thread runs nothing but iterations of this call, so its locks and buffers are safe. An
/// exception of one iteration is rethrown here.
template <typename Body>
void concurrentPerform(std::size_t iterations, const Body& body) {
    // Neither is worth the start of a pool.
    if (iterations == 0) return;
    if (iterations == 1) return body(std::size_t{0});
#ifdef DOVRA_THREAD_SANITIZER
    performOnNewThreads(iterations, body);
#else
    oneapi::tbb::this_task_arena::isolate(
        [&] { oneapi::tbb::parallel_for(std::size_t{0}, iterations, body); });
#endif
}

/// Calls `work(first, last)` for the positions below `total` in pieces of `pieceSize`, the last maybe
/// shorter, as `concurrentPerform` does. A single piece runs on the calling thread. After a request to stop
/// no further piece is begun.
template <typename Work>
void performInPieces(std::size_t total, std::size_t pieceSize, const Work& work,
                     const std::stop_token& stop = {}) {
    concurrentPerform((total + pieceSize - 1) / pieceSize, [&](std::size_t piece) {
        if (stop.stop_requested()) return;
        const std::size_t first = piece * pieceSize;
        work(first, std::min(first + pieceSize, total));
    });
}

/// Sorts on all processors: each sorts a share, then neighbouring shares are merged. Small arrays are sorted
/// on the calling thread. `comesBefore` must order any two different elements, as the sort is not stable.
template <typename T, typename Less>
void concurrentSort(std::vector<T>& values, const Less& comesBefore) {
    constexpr std::size_t smallestShare = 16384;
    const std::size_t shares = std::min(activeProcessorCount(), values.size() / smallestShare);
    if (shares < 2) {
        std::ranges::sort(values, comesBefore);
        return;
    }
    const auto border = [&](std::size_t share) {
        return values.begin() + static_cast<std::ptrdiff_t>(values.size() * std::min(share, shares) / shares);
    };
    concurrentPerform(shares, [&](std::size_t i) { std::sort(border(i), border(i + 1), comesBefore); });
    for (std::size_t width = 1; width < shares; width *= 2) {
        concurrentPerform((shares + 2 * width - 1) / (2 * width), [&](std::size_t i) {
            const std::size_t first = i * 2 * width;
            std::inplace_merge(border(first), border(first + width), border(first + 2 * width), comesBefore);
        });
    }
}

}  // namespace dovra
