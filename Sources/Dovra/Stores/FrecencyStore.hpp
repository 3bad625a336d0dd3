#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Platform/AtomicFile.hpp"
#include "Stores/PersistentTable.hpp"

namespace dovra {

/// The number of opens of a path, and the time of the last one.
struct FrecencyEntry {
    std::int64_t count = 0;
    double lastAccess = 0;  ///< seconds since 1970

    /// The count, weighted by the age of the latest open: 4 under an hour, 2 under a day, 1 under a week, a
    /// half under 30 days, else a quarter.
    double score(double now) const;

    /// 0 to `RankingBoost::largest`, which a score of 18 reaches.
    std::int32_t boost(double now) const;

    bool operator==(const FrecencyEntry&) const = default;
};

/// Opens by full path. Holds at most 4000 paths: beyond that only the 2000 with the highest scores stay.
///
/// As text: a JSON object whose keys are the paths (as `textFromBytes` writes them) and whose values are
/// objects with "count" and "lastAccess".
class FrecencyTable {
public:
    /// The opens to be counted form a table themselves.
    using Changes = FrecencyTable;

    struct Decoded;

    /// One open of one path.
    static FrecencyTable open(std::string_view path, double time);

    /// Adds the counts of `opens` and takes over their times.
    void apply(const FrecencyTable& opens);

    bool isEmpty() const { return entries_.empty(); }
    std::size_t size() const { return entries_.size(); }

    std::optional<FrecencyEntry> find(std::string_view path) const;

    /// Every path with a boost.
    std::vector<PathBoost> boosts(double now) const;

    std::string encode() const;

    /// Absent when the text is no JSON object. A malformed value is left out.
    static std::optional<Decoded> decode(std::string_view text);

    bool operator==(const FrecencyTable&) const = default;

private:
    /// Lets a view be looked up without making a string of it.
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    void prune(double now);

    std::unordered_map<std::string, FrecencyEntry, Hash, std::equal_to<>> entries_;
};

struct FrecencyTable::Decoded {
    FrecencyTable table;
    bool isWhole = true;  ///< false when a value was left out
};

/// Counts the user's opens of each path and turns them into a bonus for ranking. The opens of two seconds are
/// saved together, in the background. Any thread may call it.
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

    /// Saves all unsaved changes now. Returns the error of a failure.
    std::optional<FileError> flush() { return table_->flush(); }

    FrecencyTable table() const;

private:
    Clock now_;
    std::shared_ptr<PersistentTable<FrecencyTable>> table_;
};

}  // namespace dovra
