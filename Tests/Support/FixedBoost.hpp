#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra::test {

/// Boosts that are set once and stay.
class FixedBoost : public RankingBoost {
public:
    explicit FixedBoost(const std::map<std::string, std::int32_t>& boosts) {
        boosts_.reserve(boosts.size());
        for (const auto& [path, boost] : boosts)
            boosts_.push_back({path, boost});
    }

    std::vector<PathBoost> boosts() const override { return boosts_; }

private:
    std::vector<PathBoost> boosts_;
};

}  // namespace dovra::test
