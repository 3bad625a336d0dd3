#include "Servers/Http/RecentSearches.hpp"

#include <algorithm>
#include <utility>

namespace dovra {

RecentSearches::Result RecentSearches::find(std::string_view key, std::uint64_t generation) const {
    const MutexGuard guard(mutex_);
    if (generation != generation_) return nullptr;
    const auto found = std::ranges::find(searches_, key, &Search::key);
    return found == searches_.end() ? nullptr : found->result;
}

void RecentSearches::keep(std::string key, std::uint64_t generation, Result result) {
    const MutexGuard guard(mutex_);
    if (generation < generation_) return;
    if (generation > generation_) searches_.clear();
    generation_ = generation;
    if (searches_.size() == mostKept) searches_.pop_front();
    searches_.push_back({std::move(key), std::move(result)});
}

}  // namespace dovra
