#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

namespace dovra {

/// The durations of the runs of a repeated piece of work. Never empty.
class Latency {
public:
    /// The number of runs: until `time` is spent, within these bounds.
    struct Repetitions {
        std::chrono::duration<double> time;
        std::size_t atLeast;
        std::size_t atMost;
    };

    static Latency measure(const Repetitions& repetitions, const std::function<void()>& work);

    /// `milliseconds` is not empty.
    explicit Latency(std::vector<double> milliseconds);

    double minimum() const { return sorted_.front(); }
    double median() const { return percentile(50); }

    /// The smallest measured value that at least `percent` (above 0, at most 100) of all runs do not exceed
    /// (the nearest rank). In milliseconds.
    double percentile(unsigned percent) const;

    std::size_t runs() const { return sorted_.size(); }

private:
    std::vector<double> sorted_;
};

}  // namespace dovra
