#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Query/QueryParser.hpp"

namespace dovra {

/// How well a name meets a query's first plain term: as the whole name, as its stem, at its start, at the
/// start of a word, anywhere else, or not at all (the entry matched by other terms); shorter names first
/// within each.
class Relevance {
public:
    explicit Relevance(const std::optional<PlainTerm>& term);

    /// Smaller is better. Below 2 to the power of `keyBits`.
    std::uint64_t key(std::string_view name) const;
    static constexpr unsigned keyBits = 19;

private:
    enum class Meeting : std::uint8_t { wholeName, stem, start, wordStart, anywhere, none };

    Meeting meeting(std::string_view name) const;
    Meeting bestOccurrence(std::string_view name) const;
    bool standsAt(std::string_view name, std::size_t at) const;

    std::string term_;
    bool fold_ = true;
};

}  // namespace dovra
