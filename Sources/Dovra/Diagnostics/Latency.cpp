#include "Diagnostics/Latency.hpp"

#include <algorithm>

namespace dovra {

Latency::Latency(std::vector<double> milliseconds) : sorted_(std::move(milliseconds)) {
    std::ranges::sort(sorted_);
}

Latency Latency::measure(const Repetitions& repetitions, const std::function<void()>& work) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> milliseconds;
    const auto begin = Clock::now();
    auto end = begin;
    const auto mayStop = [&] { return milliseconds.size() >= repetitions.atLeast; };
    while (milliseconds.size() < repetitions.atMost && (!mayStop() || end - begin < repetitions.time)) {
        const auto start = Clock::now();
        work();
        end = Clock::now();
        milliseconds.push_back(std::chrono::duration<double, std::milli>(end - start).count());
    }
    return Latency(std::move(milliseconds));
}

double Latency::percentile(unsigned percent) const {
    const std::size_t rank = (sorted_.size() * percent + 99) / 100;
    return sorted_[rank - 1];
}

}  // namespace dovra
