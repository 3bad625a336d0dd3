#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace dovra {

/// What a path's entry gains in an order by relevance or score; above 0.
struct PathBoost {
    std::string path;  ///< full path, raw bytes
    std::int32_t boost = 0;
};

/// Knows which paths the user cares for. Any thread may ask, also under an index's lock: it takes none
/// itself.
class RankingBoost {
public:
    virtual ~RankingBoost() = default;

    /// The largest boost that a path can have.
    static constexpr std::int32_t largest = 72;

    /// Every path with a boost, all as of one moment; in no order.
    virtual std::vector<PathBoost> boosts() const = 0;
};

}  // namespace dovra
