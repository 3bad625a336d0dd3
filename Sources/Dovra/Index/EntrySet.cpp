#include "Index/EntrySet.hpp"

#include <algorithm>

#include "Base/BitCount.hpp"

namespace dovra {

std::uint64_t EntrySet::within(EntryRange range, std::size_t w) {
    const auto base = static_cast<std::int64_t>(w) * 64;
    const std::int64_t from = std::clamp<std::int64_t>(range.first - base, 0, 64);
    const std::int64_t to = std::clamp<std::int64_t>(range.last - base, 0, 64);
    if (from >= to) return 0;
    const std::uint64_t below = to == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << to) - 1;
    return below & ~((std::uint64_t{1} << from) - 1);
}

void EntrySet::insert(EntryRange range) {
    for (std::size_t w = wordOf(range.first); w * 64 < static_cast<std::size_t>(range.last); ++w) {
        words_[w] |= within(range, w);
    }
}

void EntrySet::flip(EntryRange range) {
    for (std::size_t w = wordOf(range.first); w * 64 < static_cast<std::size_t>(range.last); ++w) {
        words_[w] ^= within(range, w);
    }
}

void EntrySet::erase(EntryRange range, const EntrySet& others) {
    const std::size_t words = std::min(others.words_.size(), wordOf(range.last + entriesPerWord - 1));
    for (std::size_t w = wordOf(range.first); w < words; ++w)
        words_[w] &= ~others.words_[w];
}

std::int64_t EntrySet::count() const {
    std::int64_t count = 0;
    for (const std::uint64_t word : words_)
        count += countBits(word);
    return count;
}

std::vector<EntryId> EntrySet::firstIds(std::int64_t limit) const {
    std::vector<EntryId> ids;
    for (std::size_t w = 0; w < words_.size() && std::ssize(ids) < limit; ++w) {
        for (std::uint64_t word = words_[w]; word != 0 && std::ssize(ids) < limit; word &= word - 1) {
            ids.push_back(static_cast<EntryId>(w * 64) + std::countr_zero(word));
        }
    }
    return ids;
}

}  // namespace dovra
