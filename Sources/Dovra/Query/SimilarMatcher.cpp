#include "Query/SimilarMatcher.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Index/TrigramIndex.hpp"

namespace dovra {

namespace {

constexpr std::size_t longestUsualName = 255;
constexpr double scoreOfIdentity = 1000;

}  // namespace

SimilarMatcher::SimilarMatcher(TrigramSet queryTrigrams, double threshold)
    : queryTrigrams_(std::move(queryTrigrams)), threshold_(threshold) {
    auto filter = std::make_shared<std::bitset<filterBits>>();
    for (const Trigram trigram : queryTrigrams_)
        filter->set(filterBit(trigram));
    filter_ = std::move(filter);
}

std::optional<std::int32_t> SimilarMatcher::score(std::string_view name) const {
    if (!canReachThreshold(name)) return std::nullopt;
    if (name.size() > longestUsualName) {
        const TrigramSet set = TrigramIndex::trigrams(name);
        return scoreOfSet(set.data(), set.data() + set.size());
    }
    std::array<Trigram, longestUsualName> set;  // NOLINT(*-member-init): filled as far as it is read
    Trigram* end = set.data();
    forEachTrigram(name, [&](Trigram trigram) { *end++ = trigram; });
    std::sort(set.data(), end);
    return scoreOfSet(set.data(), std::unique(set.data(), end));
}

/// An upper bound that rejects most names without a set. There are at most as many shared trigrams as
/// positions whose trigram may be shared, and the union is no smaller than the query's set.
bool SimilarMatcher::canReachThreshold(std::string_view name) const {
    std::size_t possiblyShared = 0;
    const std::bitset<filterBits>& filter = *filter_;
    forEachTrigram(name, [&](Trigram trigram) { possiblyShared += filter[filterBit(trigram)] ? 1U : 0U; });
    if (possiblyShared == 0) return false;
    return static_cast<double>(possiblyShared) / static_cast<double>(queryTrigrams_.size()) >= threshold_;
}

std::optional<std::int32_t> SimilarMatcher::scoreOfSet(const Trigram* begin, const Trigram* end) const {
    std::size_t shared = 0;
    auto query = queryTrigrams_.begin();
    for (const Trigram* own = begin; own != end && query != queryTrigrams_.end();) {
        shared += *own == *query ? 1 : 0;
        const bool ownIsLower = *own < *query;
        query += *query <= *own ? 1 : 0;
        own += ownIsLower ? 1 : 0;
    }
    if (shared == 0) return std::nullopt;
    const std::size_t either = static_cast<std::size_t>(end - begin) + queryTrigrams_.size() - shared;
    const double similarity = static_cast<double>(shared) / static_cast<double>(either);
    if (similarity < threshold_) return std::nullopt;
    return static_cast<std::int32_t>(std::lround(similarity * scoreOfIdentity));
}

std::size_t SimilarMatcher::filterBit(Trigram trigram) {
    return (trigram * 0x9E3779B1U) >> 20;
}

}  // namespace dovra
