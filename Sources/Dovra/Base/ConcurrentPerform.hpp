#pragma once

#include <atomic>
#include <cstddef>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

namespace dovra {

/// The number of threads that `concurrentPerform` spreads over; at least 1.
std::size_t activeProcessorCount();

/// Calls `body(i)` for every i below `iterations`, spread over the processors on a pool that stays warm, and
/// returns when all are done. Iterations must not depend on each other; they may call this again. While it
/// waits, the calling thread runs nothing but iterations of this call, so what it holds (locks, its own
/// buffers) is safe. An exception of one iteration is rethrown here.
template <typename Body>
void concurrentPerform(std::size_t iterations, const Body& body) {
    if (iterations == 1) {
        body(std::size_t{0});
        return;
    }
    // The pool's own synchronisation lives in a library that the thread sanitizer cannot see into; these two
    // atomics state the same ordering (start before every body, every body before the return) where it can.
    std::atomic<std::size_t> started{iterations};
    std::atomic<std::size_t> finished{0};
    oneapi::tbb::this_task_arena::isolate([&] {
        oneapi::tbb::parallel_for(std::size_t{0}, iterations, [&](std::size_t i) {
            (void)started.load(std::memory_order_acquire);
            body(i);
            finished.fetch_add(1, std::memory_order_release);
        });
    });
    (void)finished.load(std::memory_order_acquire);
}

}  // namespace dovra
