#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "Base/Locks.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The results of the last searches, for as long as the index stays as it is: pages are opened again, the
/// same is asked from several sides, and the start page always searches for the same. Any thread.
class RecentSearches {
public:
    using Result = std::shared_ptr<const SearchResult>;

    /// What was kept for the key at this generation of the index; null when nothing was.
    Result find(std::string_view key, std::uint64_t generation) const;

    /// `generation` was read before the search. Drops what belongs to another one, or came first of too many.
    void keep(std::string key, std::uint64_t generation, Result result);

private:
    static constexpr std::size_t mostKept = 16;

    struct Search {
        std::string key;
        Result result;
    };

    mutable Mutex mutex_;
    std::deque<Search> searches_ DOVRA_GUARDED_BY(mutex_);
    std::uint64_t generation_ DOVRA_GUARDED_BY(mutex_) = 0;
};

}  // namespace dovra
