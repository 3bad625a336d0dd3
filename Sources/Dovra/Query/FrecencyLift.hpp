#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Index/FileIndex.hpp"

namespace dovra {

/// The boosts of an index's frecency, put so that each of many matches can be asked for its own: nearly all
/// are turned down by a hash of their name, without their path being made. Boosts are those of the moment at
/// which the object was made. The index's read lock is held for its lifetime; any number of threads may ask.
class FrecencyLift {
public:
    explicit FrecencyLift(const FileIndex& index);

    /// The entry's boost; 0 when it has none. `name` is the entry's own.
    std::int32_t boost(const FileEntry& entry, std::string_view name) const {
        if (byName_.empty()) return 0;
        return hashes_.test(slot(name)) ? find(entry, name) : 0;
    }

private:
    /// Some 6 % of all names pass when the store is full.
    static constexpr std::size_t slots = 65536;

    static std::size_t slot(std::string_view name) { return std::hash<std::string_view>()(name) % slots; }

    std::int32_t find(const FileEntry& entry, std::string_view name) const;

    struct InFolder {
        std::string_view folder;
        std::int32_t boost;
    };

    const DirectoryTable& directories_;
    std::vector<PathBoost> boosts_;
    std::unordered_multimap<std::string_view, InFolder> byName_;  ///< views into `boosts_`
    std::bitset<slots> hashes_;
};

}  // namespace dovra
