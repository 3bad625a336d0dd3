#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace dovra {

/// A hash of 32 well mixed bits.
inline std::uint64_t hashOf(std::uint64_t number) {
    return (number * 0x9E3779B97F4A7C15U) >> 32;
}

/// A Bloom filter with one hash: it holds every inserted number, and a few others by chance. It is small
/// enough for the processor's near caches, and large enough to keep chance hits rare.
class HashedBits {
public:
    /// Makes room for so many numbers.
    explicit HashedBits(std::size_t numbers)
        : words_(std::bit_ceil(std::clamp(numbers * bitsEach / 64, fewestWords, mostWords))) {}

    void insert(std::uint64_t number) {
        const std::uint64_t hash = hashOf(number);
        words_[hash / 64 & (words_.size() - 1)] |= std::uint64_t{1} << (hash % 64);
    }

    /// The set as a loop uses it: its place and size need not be read from memory at every step.
    class View {
    public:
        explicit View(const std::vector<std::uint64_t>& words)
            : words_(words.data()), lastWord_(words.size() - 1) {}

        /// Always true for an inserted number.
        bool mayHold(std::uint64_t number) const {
            const std::uint64_t hash = hashOf(number);
            return (words_[hash / 64 & lastWord_] >> (hash % 64) & 1) != 0;
        }

    private:
        const std::uint64_t* words_;
        std::uint64_t lastWord_;
    };
    View view() const { return View(words_); }

private:
    static constexpr std::size_t bitsEach = 32;
    static constexpr std::size_t fewestWords = 16;
    static constexpr std::size_t mostWords = 16 * 1024;

    std::vector<std::uint64_t> words_;
};

}  // namespace dovra
