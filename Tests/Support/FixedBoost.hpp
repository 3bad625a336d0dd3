#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Index/RankingBoost.hpp"

namespace dovra::test {

/// Boosts that are told once and stay.
class FixedBoost : public RankingBoost {
public:
    explicit FixedBoost(std::map<std::string, std::int32_t> boosts) : boosts_(std::move(boosts)) {}

    std::vector<PathBoost> boosts() const override {
        std::vector<PathBoost> all;
        for (const auto& [path, boost] : boosts_)
            all.push_back({path, boost});
        return all;
    }

private:
    std::map<std::string, std::int32_t> boosts_;
};

}  // namespace dovra::test
