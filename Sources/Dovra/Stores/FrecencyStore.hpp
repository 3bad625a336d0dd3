#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Platform/AtomicFile.hpp"
#include "Stores/FrecencyTable.hpp"
#include "Stores/PersistentTable.hpp"

namespace dovra {

/// Remembers which paths the user opened, how often and how recently, and turns that into a bonus for
/// ranking. Saved in the background, the opens of two seconds together. Any thread.
class FrecencyStore : public RankingBoost {
public:
    /// Seconds since 1970.
    using Clock = std::function<double()>;

    static double systemTime();

    /// "frecency.json" in the folder of the program's files; absent when there is no such folder.
    static std::optional<std::string> defaultURL();

    /// Loads the table; a missing or bad file gives an empty one. Without a location the store is in memory
    /// only.
    explicit FrecencyStore(std::optional<std::string> fileURL, Clock now = systemTime);

    /// Counts one open of the path now.
    void recordOpen(std::string_view path);

    /// The bonus of a path, 0 to 72.
    std::int32_t boost(std::string_view path) const;
    std::vector<PathBoost> boosts() const override;

    /// Saves now what is not yet saved; returns why that failed.
    std::optional<FileError> flush() { return table_->flush(); }

    FrecencyTable table() const;

private:
    Clock now_;
    std::shared_ptr<PersistentTable<FrecencyTable>> table_;
};

}  // namespace dovra
