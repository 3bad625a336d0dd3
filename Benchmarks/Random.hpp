#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace dovra::benchmarks {

/// A quick source of random numbers, the same for the same seed on every machine (Steele, Lea and Flood:
/// "Fast splittable pseudorandom number generators", 2014).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t mixed = state_ += 0x9e3779b97f4a7c15;
        mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
        return mixed ^ mixed >> 31;
    }

    /// Below `bound`, which is at least 1 and small beside 2^32.
    std::size_t below(std::size_t bound) { return (next() >> 32) * bound >> 32; }

    /// From 0 to just below 1.
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    bool percent(std::size_t chance) { return below(100) < chance; }

    /// One of the values. Values at the front are more frequent: the first is drawn about once in the square
    /// root of their number.
    template <typename T>
    const T& favourFront(std::span<const T> values) {
        const double position = unit();
        return values[static_cast<std::size_t>(position * position * static_cast<double>(values.size()))];
    }

private:
    std::uint64_t state_;
};

}  // namespace dovra::benchmarks
