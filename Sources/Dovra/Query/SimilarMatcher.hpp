#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "Index/TrigramIndex.hpp"

namespace dovra {

/// Finds names that share many trigrams with a sample name. Similarity is the Jaccard index of the two sets:
/// the trigrams that both have, divided by the trigrams that either has. Immutable.
class SimilarMatcher {
public:
    /// `threshold` is the least similarity of a match, from 0 to 1.
    SimilarMatcher(TrigramSet queryTrigrams, double threshold);

    /// The similarity in thousandths, rounded half up; absent when the name is not similar enough. Allocates
    /// nothing for names of at most 255 bytes.
    std::optional<std::int32_t> score(std::string_view name) const;

    const TrigramSet& queryTrigrams() const { return queryTrigrams_; }
    double threshold() const { return threshold_; }

private:
    bool canReachThreshold(std::string_view name) const;
    std::optional<std::int32_t> scoreOfSet(const Trigram* begin, const Trigram* end) const;

    /// One bit for each value of `filterBit`, set when a query trigram has it.
    static constexpr std::size_t filterBits = 4096;
    static std::size_t filterBit(Trigram trigram);

    TrigramSet queryTrigrams_;
    double threshold_;
    std::shared_ptr<const std::bitset<filterBits>> filter_;  ///< half a kilobyte, shared by copies
};

}  // namespace dovra
